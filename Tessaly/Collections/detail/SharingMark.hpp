// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>

namespace Tessaly::inline v1::detail {

/// Whether a collection's storage may have other holders: set in both when one is copied, and cleared by a writer who
/// found that the others are gone.
///
/// A writer so learns that it is the only holder without an atomic operation, which would keep what it writes out of
/// registers. Copying sets it in a collection that is only read, by several threads at once maybe: that is atomic. Who
/// writes the collection has it alone, and reads the mark as it is.
///
/// Thread contract: thread-compatible.
class SharingMark {
 public:
  /// By a reader of the collection.
  void set() const noexcept {
    const std::atomic_ref<bool> mark(isSet_);
    if (!mark.load(std::memory_order_relaxed)) mark.store(true, std::memory_order_relaxed);
  }
  /// By its writer.
  void clear() noexcept { isSet_ = false; }
  [[nodiscard]] bool isSet() const noexcept { return isSet_; }

 private:
  mutable bool isSet_ = false;
};

}  // namespace Tessaly::inline v1::detail
