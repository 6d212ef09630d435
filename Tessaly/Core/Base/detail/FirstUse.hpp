// SPDX-License-Identifier: MIT
#pragma once

#include <pthread.h>

#include <atomic>

namespace Tessaly::inline v1::detail {

// What a process makes at first use, in a way that a `fork` on another thread cannot break. A function-local static is
// not such a way: the child of a fork in the middle of its making waits for ever for a thread that it does not have.

/// The object that `make` returns a pointer to. Made by the first call, on one thread, while others wait; kept until the
/// process ends. The child of a fork in the middle of the making makes an object of its own, because `pthread_once`
/// begins anew there. One load from the second call on.
template <auto make>
auto& madeOnce() noexcept {
  using Pointer = decltype(make());
  static constinit std::atomic<Pointer> made{nullptr};
  Pointer known = made.load(std::memory_order_acquire);
  if (known == nullptr) [[unlikely]] {
    static constinit pthread_once_t once = PTHREAD_ONCE_INIT;
    ::pthread_once(&once, [] { made.store(make(), std::memory_order_release); });
    known = made.load(std::memory_order_acquire);
  }
  return *known;
}

/// From the first call on, the child of every fork calls the handler before `fork` returns there. Two threads that come
/// here at once may register it twice, so calling it twice must do no harm. One load from the second call on.
template <void (*handler)()>
void callInForkedChildren() noexcept {
  static constinit std::atomic<bool> isRegistered{false};
  if (isRegistered.load(std::memory_order_acquire)) [[likely]]
    return;
  ::pthread_atfork(nullptr, nullptr, handler);
  isRegistered.store(true, std::memory_order_release);
}

}  // namespace Tessaly::inline v1::detail
