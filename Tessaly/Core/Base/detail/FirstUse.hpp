// SPDX-License-Identifier: MIT
#pragma once

#include <pthread.h>

#include <atomic>

namespace Tessaly::inline v1::detail {

// Objects that are made at their first use. This is safe even while another thread forks the process. A function-local
// static is not safe during a fork. If a thread of the parent is making the static during the fork, a use of the static
// in the child waits forever for that thread.

/// The object that `make` returns a pointer to. The first call makes the object. Simultaneous calls wait until the
/// object is made. The object is kept until the process ends. If the process forks while the object is being made, the
/// child makes its own object, because `pthread_once` starts again there. Later calls cost one load.
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

/// Registers a handler, which the child of every later fork calls before `fork` returns. Two simultaneous first calls
/// may register the handler twice, so calling the handler twice must be harmless. Later calls cost one load.
template <auto handler>
void callInForkedChildren() noexcept {
  static constinit std::atomic<bool> isRegistered{false};
  if (isRegistered.load(std::memory_order_acquire)) [[likely]]
    return;
  ::pthread_atfork(nullptr, nullptr, handler);
  isRegistered.store(true, std::memory_order_release);
}

}  // namespace Tessaly::inline v1::detail
