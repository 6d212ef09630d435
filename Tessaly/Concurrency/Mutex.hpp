// SPDX-License-Identifier: MIT
// Component: Tessaly::Mutex
#pragma once

#include <functional>
#include <memory>
#include <type_traits>
#include <utility>

#include "Tessaly/Core/Base/FatalError.hpp"
#include "Tessaly/Core/Base/IsAsync.hpp"
#include "Tessaly/Core/Locks/OSAllocatedUnfairLock.hpp"

namespace Tessaly::inline v1 {

/// A value of any kind that is read and changed only while a lock is held.
///
/// The value and the lock have an allocation each, and both stay in place when the `Mutex` is moved. A `Mutex` cannot
/// be copied. Nothing is allocated after construction. The nearest standard facility is a `std::mutex` beside the
/// value. That pair lets code use the value without the lock.
///
/// **Destroying a `Mutex` does not destroy the stored value**: only the memory of the slot is freed. Moving another
/// `Mutex` into this one does not destroy this one's former value either. A value that owns resources must be emptied
/// first, by `assignWithLock` or inside `withLock`.
///
/// Stops the process: locking the same `Mutex` again inside the body on the same thread; use after a move; a new value
/// whose move throws in `assignWithLock`.
///
/// Thread contract: thread-safe. A move or the destruction must not overlap with any other use.
///
///     Mutex<std::set<std::string>> listeners({});
///     listeners.withLock([](auto& set) { set.insert("window"); });
///     auto snapshot = listeners.withLock([](auto& set) { return set; });
template <typename Value>
class Mutex {
 public:
  /// Moves the initial value into its slot. Allocates the slot and the lock.
  explicit Mutex(Value initialValue) : valuePointer_(std::allocator<Value>().allocate(1)) {
    if constexpr (std::is_nothrow_move_constructible_v<Value>) {
      std::construct_at(valuePointer_, std::move(initialValue));
    } else {
      try {
        std::construct_at(valuePointer_, std::move(initialValue));
      } catch (...) {
        std::allocator<Value>().deallocate(valuePointer_, 1);
        throw;
      }
    }
  }
  Mutex(const Mutex&) = delete;
  Mutex& operator=(const Mutex&) = delete;
  Mutex(Mutex&& other) noexcept
      : lock_(std::move(other.lock_)), valuePointer_(std::exchange(other.valuePointer_, nullptr)) {}
  Mutex& operator=(Mutex&& other) noexcept {
    if (this != &other) {
      freeSlot();
      lock_ = std::move(other.lock_);
      valuePointer_ = std::exchange(other.valuePointer_, nullptr);
    }
    return *this;
  }
  /// Frees the slot without destroying the value in it.
  ~Mutex() { freeSlot(); }

  /// Calls the body with the value while the lock is held. Returns the body's result, moved or elided, never copied. An
  /// exception of the body reaches the caller unchanged. The lock is released before the result or the exception
  /// reaches the caller.
  ///
  /// The body is an ordinary function: it must not return a reference (which would outlive the locking), nor an `Async`
  /// (which would run without the lock).
  template <typename Body>
    requires std::is_invocable_v<Body, Value&>
  auto withLock(Body&& body) -> std::invoke_result_t<Body, Value&> {
    using Result = std::invoke_result_t<Body, Value&>;
    static_assert(!std::is_reference_v<Result>, "the body must not hand the guarded value out by reference");
    static_assert(!isAsync<Result>, "the body must not suspend: it would continue without the lock");
    return lock_.withLock([&]() -> Result { return std::invoke(std::forward<Body>(body), *valuePointer_); });
  }

  /// Destroys the value and moves the new one into its place, both while the lock is held. A move that throws stops the
  /// process, because there would be no value.
  void assignWithLock(Value newValue) {
    lock_.withLock([&] {
      std::destroy_at(valuePointer_);
      if constexpr (std::is_nothrow_move_constructible_v<Value>) {
        std::construct_at(valuePointer_, std::move(newValue));
      } else {
        try {
          std::construct_at(valuePointer_, std::move(newValue));
        } catch (...) {
          fatalError("A value threw when it was moved into a mutex whose old value had gone", "Tessaly/Mutex",
                     __LINE__);
        }
      }
    });
  }

 private:
  void freeSlot() noexcept {
    if (valuePointer_ != nullptr) std::allocator<Value>().deallocate(valuePointer_, 1);
  }

  OSAllocatedUnfairLock<void> lock_;
  Value* valuePointer_;
};

}  // namespace Tessaly::inline v1
