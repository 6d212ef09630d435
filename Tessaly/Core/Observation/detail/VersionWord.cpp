// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Observation/detail/VersionWord.hpp"

#include <chrono>
#include <thread>

#include "Tessaly/Core/Base/detail/Futex.hpp"

namespace Tessaly::inline v1::detail {

std::uint64_t VersionWord::waitWhileLocked() const noexcept {
  constexpr int pausesBeforeSleeping = 100;
  for (int pauses = 0;; ++pauses) {
    const std::uint64_t word = word_.load(std::memory_order_relaxed);
    if ((word & isLocked) == 0) return word;
    // The thread sleeps instead of yielding, because the holder may be a thread of lower priority.
    if (pauses < pausesBeforeSleeping) {
      pauseProcessor();
    } else {
      std::this_thread::sleep_for(std::chrono::microseconds(50));
    }
  }
}

}  // namespace Tessaly::inline v1::detail
