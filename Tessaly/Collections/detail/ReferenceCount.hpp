// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>

namespace Tessaly::inline v1::detail {

/// The number of values that share a block of storage. The count starts at one.
///
/// Thread contract: thread-safe.
class ReferenceCount {
 public:
  ReferenceCount() noexcept = default;
  ReferenceCount(const ReferenceCount&) = delete;
  ReferenceCount& operator=(const ReferenceCount&) = delete;

  void retain() noexcept { count_.fetch_add(1, std::memory_order_relaxed); }
  /// Ends the ownership of the caller. Returns whether the caller was the last owner. If so, all uses of the block by
  /// other owners happen before this return.
  [[nodiscard]] bool release() noexcept { return count_.fetch_sub(1, std::memory_order_acq_rel) == 1; }
  /// Whether the caller is the only owner. If so, all reads by former owners happen before this return.
  [[nodiscard]] bool isOne() const noexcept { return count_.load(std::memory_order_acquire) == 1; }

 private:
  std::atomic<std::uint64_t> count_{1};
};

}  // namespace Tessaly::inline v1::detail
