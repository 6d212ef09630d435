// SPDX-License-Identifier: MIT
// Component: Tessaly::Tasks
#pragma once

#include <atomic>
#include <concepts>
#include <exception>
#include <functional>
#include <type_traits>
#include <utility>

#include "Tessaly/Core/Tasks/Async.hpp"
#include "Tessaly/Core/Tasks/detail/TaskRecord.hpp"

namespace Tessaly::inline v1 {

namespace detail {

/// Moves the current task to another isolation. The task continues at once if it is in that isolation already. On a
/// thread of the pool the task also continues at once if the target is the pool or an idle serial executor. Otherwise
/// the task waits in the target's queue.
class Hop {
 public:
  explicit Hop(Executor* target) noexcept : target_(threadState.task->inOwner(target)) {}

  bool await_ready() const noexcept { return threadState.task->executor() == target_; }
  template <std::derived_from<AsyncPromiseBase> Promise>
  bool await_suspend(std::coroutine_handle<Promise> handle) const noexcept {
    ThreadState& state = threadState;
    TaskRecord& task = *state.task;
    task.setExecutor(target_);
    if (state.mayHandOver) {
      if (state.executor != nullptr) SerialExecutor::leaveCurrent();
      if (target_ == nullptr) return false;
      auto* serial = dynamic_cast<SerialExecutor*>(target_);
      if (serial != nullptr && serial->enterIfIdle()) return false;
    }
    task.setResumePoint(handle);
    // Either a raise of the task's priority finds the new executor, or the new executor finds the raised priority.
    std::atomic_thread_fence(std::memory_order_seq_cst);
    task.schedule();
    return true;
  }
  void await_resume() const noexcept {}

 private:
  Executor* target_;
};

}  // namespace detail

/// Runs the body in the given isolation, and then returns to the caller's isolation, also after an exception. The body
/// is a plain function or returns an `Async`; its result or exception is passed on. A hop from the pool onto an idle
/// serial executor and back stays on the same thread.
///
/// Thread contract: thread-safe.
///
///     std::size_t count = co_await withIsolation(storage, [&] { return entries.size(); });
template <typename Body>
auto withIsolation(Isolation isolation, Body body) -> Async<detail::AsyncInvokeResult<Body&>> {
  using Result = detail::AsyncInvokeResult<Body&>;
  Executor* const caller = detail::threadState.task->executor();
  detail::Outcome<Result> outcome;
  co_await detail::Hop(isolation.executor());
  try {
    if constexpr (std::is_void_v<Result>) {
      if constexpr (isAsync<std::invoke_result_t<Body&>>) {
        co_await std::invoke(body);
      } else {
        std::invoke(body);
      }
      outcome.setValue();
    } else if constexpr (isAsync<std::invoke_result_t<Body&>>) {
      outcome.setValue(co_await std::invoke(body));
    } else {
      outcome.setValue(std::invoke(body));
    }
  } catch (...) {
    outcome.setError(std::current_exception());
  }
  co_await detail::Hop(caller);
  co_return outcome.take();
}

}  // namespace Tessaly::inline v1
