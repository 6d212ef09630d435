// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Locks/UnfairLock.hpp"

#include "Tessaly/Core/Base/FatalError.hpp"
#include "Tessaly/Core/Base/detail/Futex.hpp"

namespace Tessaly::inline v1 {
namespace {

constexpr std::uint32_t hasWaiters = 0x8000'0000;
constexpr int pausesBeforeSleeping = 100;

}  // namespace

void UnfairLock::lockSlowly(std::uint32_t self) noexcept {
  std::uint32_t word = word_.load(std::memory_order_relaxed);
  if ((word & ~hasWaiters) == self) {
    fatalError("A lock was locked again by the thread that holds it", "Tessaly/UnfairLock", __LINE__);
  }
  for (int pauses = 0; pauses < pausesBeforeSleeping && (word & hasWaiters) == 0; ++pauses) {
    if (word == 0 && word_.compare_exchange_weak(word, self, std::memory_order_acquire, std::memory_order_relaxed)) {
      return;
    }
    detail::pauseProcessor();
    word = word_.load(std::memory_order_relaxed);
  }
  // From here on, other threads may be asleep. So this thread takes the lock with the bit set, and its unlock wakes
  // another thread.
  for (;;) {
    if (word == 0) {
      if (word_.compare_exchange_weak(word, self | hasWaiters, std::memory_order_acquire, std::memory_order_relaxed)) {
        return;
      }
      continue;
    }
    if ((word & hasWaiters) == 0 &&
        !word_.compare_exchange_weak(word, word | hasWaiters, std::memory_order_relaxed, std::memory_order_relaxed)) {
      continue;
    }
    detail::futexWait(word_, word | hasWaiters);
    word = word_.load(std::memory_order_relaxed);
  }
}

void UnfairLock::unlockSlowly(std::uint32_t word) noexcept {
  if ((word & ~hasWaiters) != currentThreadIdentifier()) {
    fatalError("A lock was unlocked by a thread that does not hold it", "Tessaly/UnfairLock", __LINE__);
  }
  detail::futexWake(word_, 1);
}

}  // namespace Tessaly::inline v1
