// SPDX-License-Identifier: MIT
// Component: Tessaly::Locks
#pragma once

#include <atomic>
#include <cstdint>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Base/ThreadIdentifier.hpp"
#include "Tessaly/Core/Base/ThreadSafety.hpp"

namespace Tessaly::inline v1 {

/// A non-recursive lock in one 32-bit word: the owner's thread identifier, and a bit for waiters.
///
/// Taking a free lock costs one atomic operation, and so does releasing a lock without waiters. Neither operation makes
/// a system call, unless the thread needs its identifier for the first time. A waiting thread spins for at most 100
/// processor pauses and then sleeps in a futex. The futex is described by Franke, Russell and Kirkwood (Fuss, Futexes
/// and Furwocks, 2002), and the states of the word by Drepper (Futexes Are Tricky, 2011). The lock guarantees no order
/// of waiters and has no priority inheritance. Locking it again on the owning thread, or unlocking it on another
/// thread, stops the process. Prefer `Mutex`, which gives access to the guarded value only while the lock is held.
///
/// The nearest standard facility is `std::mutex`. It has 40 bytes on x86-64, and locking it twice on one thread is
/// undefined behaviour.
///
/// Thread contract: thread-safe. No thread may hold a lock when the lock is destroyed.
///
///     UnfairLock lock;
///     {
///       UnfairLock::Guard guard(lock);
///       total += 1;
///     }
class TESSALY_CAPABILITY("lock") UnfairLock {
 public:
  constexpr UnfairLock() noexcept = default;
  UnfairLock(const UnfairLock&) = delete;
  UnfairLock& operator=(const UnfairLock&) = delete;

  /// Waits until the lock is free, and then takes the lock. Stops the process if this thread owns the lock already.
  void lock() noexcept TESSALY_ACQUIRE() {
    const std::uint32_t self = currentThreadIdentifier();
    std::uint32_t expected = 0;
    if (!word_.compare_exchange_strong(expected, self, std::memory_order_acquire, std::memory_order_relaxed))
        [[unlikely]] {
      lockSlowly(self);
    }
  }

  /// Takes the lock if it is free. Never waits. If this thread owns the lock already, returns false and does not stop
  /// the process.
  [[nodiscard]] bool lockIfAvailable() noexcept TESSALY_TRY_ACQUIRE(true) {
    std::uint32_t expected = 0;
    return word_.compare_exchange_strong(expected, currentThreadIdentifier(), std::memory_order_acquire,
                                         std::memory_order_relaxed);
  }

  /// Releases the lock, and wakes one waiter if there is any. Stops the process if this thread does not own the lock.
  void unlock() noexcept TESSALY_RELEASE() {
    const std::uint32_t word = word_.exchange(0, std::memory_order_release);
    if (word != currentThreadIdentifier()) [[unlikely]]
      unlockSlowly(word);
  }

  /// Holds a lock for the extent of a block.
  class TESSALY_SCOPED_CAPABILITY Guard {
   public:
    explicit Guard(UnfairLock& lock) noexcept TESSALY_ACQUIRE(lock) : lock_(lock) { lock_.lock(); }
    ~Guard() TESSALY_RELEASE() { lock_.unlock(); }
    Guard(const Guard&) = delete;
    Guard& operator=(const Guard&) = delete;

   private:
    UnfairLock& lock_;
  };

 private:
  TESSALY_EXPORT void lockSlowly(std::uint32_t self) noexcept;
  TESSALY_EXPORT void unlockSlowly(std::uint32_t word) noexcept;

  std::atomic<std::uint32_t> word_{0};
};

}  // namespace Tessaly::inline v1
