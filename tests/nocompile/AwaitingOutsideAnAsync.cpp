// expected: constraints not satisfied|no matching member function for call to 'await_suspend'
// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Tasks/Async.hpp"

using Tessaly::Async;

/// A coroutine of another library. It has no task that could be suspended.
struct Foreign {
  struct promise_type {
    Foreign get_return_object() { return {}; }
    std::suspend_never initial_suspend() noexcept { return {}; }
    std::suspend_never final_suspend() noexcept { return {}; }
    void return_void() {}
    void unhandled_exception() {}
  };
};

#ifdef ALLOWED
Async<void> await(Async<void> work) { co_await std::move(work); }
#else
Foreign await(Async<void> work) { co_await std::move(work); }
#endif
