// SPDX-License-Identifier: MIT
// Component: Tessaly::Locks
#pragma once

#include <atomic>
#include <cstdint>
#include <type_traits>
#include <utility>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Locks/UnfairLock.hpp"

namespace Tessaly::inline v1 {

/// A handle to an unfair lock on the heap. Copying or moving the handle does not change the lock's address. Copies
/// share the lock by a reference count. A moved-from handle has no lock: a call that locks or unlocks such a handle
/// stops the process. Only `OSAllocatedUnfairLock<void>` is defined.
///
/// Prefer `Mutex` for a guarded value, and `UnfairLock` as the member of an object that never moves.
///
/// Thread contract: thread-safe; the handle itself is thread-compatible.
///
///     OSAllocatedUnfairLock<void> lock;
///     auto next = lock.withLock([&] { return counter++; });
template <typename State = void>
class OSAllocatedUnfairLock;

template <>
class OSAllocatedUnfairLock<void> {
 public:
  /// Allocates a new, unlocked lock.
  OSAllocatedUnfairLock() : cell_(new Cell) {}
  OSAllocatedUnfairLock(const OSAllocatedUnfairLock& other) noexcept : cell_(other.cell_) {
    if (cell_ != nullptr) cell_->references.fetch_add(1, std::memory_order_relaxed);
  }
  OSAllocatedUnfairLock(OSAllocatedUnfairLock&& other) noexcept : cell_(std::exchange(other.cell_, nullptr)) {}
  OSAllocatedUnfairLock& operator=(OSAllocatedUnfairLock other) noexcept {
    std::swap(cell_, other.cell_);
    return *this;
  }
  ~OSAllocatedUnfairLock() {
    if (cell_ != nullptr && cell_->references.fetch_sub(1, std::memory_order_acq_rel) == 1) delete cell_;
  }

  /// Waits until the lock is free and takes it. Locking again on the owning thread stops the process.
  void lock() const noexcept TESSALY_NO_THREAD_SAFETY_ANALYSIS { word().lock(); }
  /// Takes the lock if it is free. Never waits.
  [[nodiscard]] bool lockIfAvailable() const noexcept TESSALY_NO_THREAD_SAFETY_ANALYSIS {
    return word().lockIfAvailable();
  }
  /// Releases the lock. Stops the process if the calling thread does not own the lock.
  void unlock() const noexcept TESSALY_NO_THREAD_SAFETY_ANALYSIS { word().unlock(); }

  /// Takes the lock, calls the body and returns the body's result. Releases the lock after the body, even if the body
  /// throws. The exception reaches the caller.
  template <typename Body>
  decltype(auto) withLock(Body&& body) const {
    UnfairLock::Guard guard(word());
    return std::forward<Body>(body)();
  }

  /// Whether both handles share one lock, or neither has a lock.
  friend bool operator==(const OSAllocatedUnfairLock&, const OSAllocatedUnfairLock&) noexcept = default;

 private:
  struct Cell {
    UnfairLock lock;
    std::atomic<std::uint32_t> references{1};
  };

  UnfairLock& word() const noexcept {
    if (cell_ == nullptr) [[unlikely]]
      stopAfterMove();
    return cell_->lock;
  }
  [[noreturn]] TESSALY_EXPORT static void stopAfterMove() noexcept;

  Cell* cell_;
};

}  // namespace Tessaly::inline v1
