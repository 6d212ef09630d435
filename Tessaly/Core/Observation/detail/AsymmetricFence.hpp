// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1::detail {

/// A fence with a cheap side and an expensive side, for two threads. Each thread stores a flag and then loads the other
/// thread's flag. At least one thread sees the store of the other.
///
/// The frequent side calls `publish`, which is a plain store. The rare side stores its flag and calls `fenceAll`, which
/// makes every running thread of the process execute a fence (`membarrier`, 0.7 to 0.8 µs). If `isAvailable()` is
/// false, the frequent side must call `publish<false>`, which is an exchange. `isAvailable()` is false if the kernel
/// refuses `membarrier`. It is also false under the thread sanitizer, which does not know the system call.
///
/// Thread contract: thread-safe.
class TESSALY_EXPORT AsymmetricFence {
 public:
  /// Whether the cheap side may call `publish<true>`, which is a plain store. Registers the process with the kernel at
  /// the first call.
  [[nodiscard]] static bool isAvailable() noexcept;
  /// The expensive side: executes a fence in every running thread of the process. The caller must store its flag before
  /// the call, and load the other flag after it. If `isAvailable()` is false, only this thread executes a fence. Stops
  /// the process if the kernel refuses `membarrier` although `isAvailable()` is true.
  static void fenceAll() noexcept;

  /// The cheap side: stores `value`, and orders the store before every later load. `isAsymmetric` must be the result of
  /// `isAvailable()`. If it is true, this order holds only together with a `fenceAll` of the other side.
  template <bool isAsymmetric>
  static void publish(std::atomic<bool>& flag, bool value) noexcept {
    if constexpr (isAsymmetric) {
      flag.store(value, std::memory_order_release);
      std::atomic_signal_fence(std::memory_order_seq_cst);
    } else {
      flag.exchange(value, std::memory_order_seq_cst);
    }
  }
};

}  // namespace Tessaly::inline v1::detail
