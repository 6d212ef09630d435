// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>

namespace Tessaly::inline v1::detail {

/// Whether other collections may share a collection's storage. A copy sets the mark in both collections. A writer that
/// finds itself the only owner clears it.
///
/// The mark saves a writer an atomic operation, which would keep the written members out of registers. Several threads
/// may copy one collection at the same time, so `set` is atomic. A writer has the collection to itself, so it reads and
/// clears the mark without an atomic operation.
///
/// Thread contract: thread-compatible.
class SharingMark {
 public:
  /// Sets the mark. A reader of the collection calls it.
  void set() const noexcept {
    const std::atomic_ref<bool> mark(isSet_);
    if (!mark.load(std::memory_order_relaxed)) mark.store(true, std::memory_order_relaxed);
  }
  /// Clears the mark. Only the writer of the collection calls it.
  void clear() noexcept { isSet_ = false; }
  [[nodiscard]] bool isSet() const noexcept { return isSet_; }

 private:
  mutable bool isSet_ = false;
};

}  // namespace Tessaly::inline v1::detail
