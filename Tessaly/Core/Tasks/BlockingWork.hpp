// SPDX-License-Identifier: MIT
// Component: Tessaly::Tasks
#pragma once

#include <concepts>
#include <exception>
#include <functional>
#include <type_traits>
#include <utility>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Tasks/Async.hpp"
#include "Tessaly/Core/Tasks/detail/TaskRecord.hpp"

namespace Tessaly::inline v1 {

namespace detail {

/// The executor of the threads that may block. There are at most 64 threads, and one more for each of these threads
/// that waits for a task. A thread starts when it is needed and ends after 10 s without work.
[[nodiscard]] TESSALY_EXPORT Executor& blockingExecutor() noexcept;

/// For the duration of a scope, marks the calling thread as waiting for a task. If the calling thread is one of the
/// threads that may block, another thread may start in its place.
class BlockingThreadWait {
 public:
  TESSALY_EXPORT BlockingThreadWait() noexcept;
  TESSALY_EXPORT ~BlockingThreadWait();
  BlockingThreadWait(const BlockingThreadWait&) = delete;
  BlockingThreadWait& operator=(const BlockingThreadWait&) = delete;
};

/// Suspends the task and runs a function on a thread that may block.
template <typename Work, typename Result>
class BlockingAwaiter final : private Job {
 public:
  explicit BlockingAwaiter(Work& work) : Job(&runWork), work_(work) {}

  bool await_ready() const noexcept { return false; }
  template <std::derived_from<AsyncPromiseBase> Promise>
  bool await_suspend(std::coroutine_handle<Promise> handle) noexcept {
    suspension_.arm(handle);
    blockingExecutor().enqueue(*this);
    return suspension_.commit();
  }
  Result await_resume() { return outcome_.take(); }

 private:
  static void runWork(Job& job) noexcept {
    auto& self = static_cast<BlockingAwaiter&>(job);
    try {
      if constexpr (std::is_void_v<Result>) {
        std::invoke(self.work_);
        self.outcome_.setValue();
      } else {
        self.outcome_.setValue(std::invoke(self.work_));
      }
    } catch (...) {
      self.outcome_.setError(std::current_exception());
    }
    self.suspension_.resume();
  }

  Work& work_;
  Suspension suspension_;
  Outcome<Result> outcome_;
};

}  // namespace detail

/// Runs a function that may block (files, a bus, a process) on a thread for such work. Returns the function's result or
/// throws its exception. The current task is suspended meanwhile. Cancelling the task does not interrupt the function.
///
/// Thread contract: thread-safe. The function runs outside any task.
///
///     std::string text = co_await runBlocking([path] { return readWholeFile(path); });
template <typename Function>
auto runBlocking(Function function) -> Async<std::invoke_result_t<Function&>> {
  co_return co_await detail::BlockingAwaiter<Function, std::invoke_result_t<Function&>>(function);
}

}  // namespace Tessaly::inline v1
