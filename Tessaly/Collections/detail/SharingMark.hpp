// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>

namespace Tessaly::inline v1::detail {

/// Whether a collection's storage is possibly shared with other collections. Copying sets the mark in both collections.
/// A writer that is the only owner of the storage clears the mark.
///
/// Without the mark, a writer would need an atomic operation, which keeps the written members out of registers. Several
/// threads may copy one collection at the same time, so `set` is atomic. No other thread may use the collection while
/// a writer changes it. So the writer reads and clears the mark without an atomic operation.
///
/// Thread contract: thread-compatible.
class SharingMark {
 public:
  /// Sets the mark. A thread that copies the collection must call `set`.
  void set() const noexcept {
    const std::atomic_ref<bool> mark(isSet_);
    if (!mark.load(std::memory_order_relaxed)) mark.store(true, std::memory_order_relaxed);
  }
  /// Clears the mark. Only a writer that is the only owner of the storage may call `clear`.
  void clear() noexcept { isSet_ = false; }
  [[nodiscard]] bool isSet() const noexcept { return isSet_; }

 private:
  mutable bool isSet_ = false;
};

}  // namespace Tessaly::inline v1::detail
