// SPDX-License-Identifier: MIT
// Component: Tessaly::Tasks
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <type_traits>
#include <utility>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Tasks/detail/TaskState.hpp"

namespace Tessaly::inline v1 {

namespace detail {

/// Stops the process if waiting on this thread would deadlock.
TESSALY_EXPORT void checkMayWait() noexcept;
/// Starts the task and waits for its end. The main thread serves the main queue meanwhile. Other threads sleep.
TESSALY_EXPORT void runAndWait(TaskRecord& task, std::atomic<std::uint32_t>& isDone) noexcept;

template <typename T>
class WaitedState : public TaskState<T> {
 public:
  std::atomic<std::uint32_t> isCompleted{0};

 protected:
  using TaskState<T>::TaskState;
  ~WaitedState() override = default;

 private:
  void didComplete() noexcept final;
};

TESSALY_EXPORT void completeWait(std::atomic<std::uint32_t>& isDone) noexcept;

template <typename T>
void WaitedState<T>::didComplete() noexcept {
  completeWait(isCompleted);
  this->release();
}

}  // namespace detail

/// Runs an operation from ordinary code and waits for its end. Returns the operation's result or throws its exception.
///
/// The operation is a callable that returns an `Async` or a plain value. The operation runs as a task. A call on the
/// main thread runs the operation there, isolated to the main queue, and serves that queue meanwhile. A call on another
/// thread runs the operation without isolation.
///
/// A call on a thread of the pool, or in a job of a serial executor, stops the process, because waiting there would
/// deadlock. Use `co_await` there. The main thread may always call `syncWait`, even in a job of the main queue.
///
/// Thread contract: thread-safe.
///
///     int main() {
///       return syncWait([]() -> Async<int> { co_return co_await runHost(); });
///     }
template <typename Operation>
  requires std::is_invocable_v<Operation&>
auto syncWait(Operation operation) -> detail::AsyncInvokeResult<Operation&> {
  using Result = detail::AsyncInvokeResult<Operation&>;
  using State = detail::WaitedState<Result>;
  detail::checkMayWait();
  const auto state = Retained<State>::adopt(new detail::ClosureTask<Result, Operation, State>(
      std::move(operation),
      detail::threadState.task != nullptr ? detail::threadState.task->priority() : TaskPriority::medium,
      MainQueue::isMainThread() ? Isolation::main() : Isolation(), detail::TaskLocalCopies::ofTheCaller));
  detail::runAndWait(*state, state->isCompleted);
  return state->outcome().take();
}

/// Runs an `Async` that exists already, and waits for its end. Otherwise the same as the overload that takes an
/// operation.
template <typename T>
T syncWait(Async<T> async) {
  return syncWait([&async]() -> Async<T> { return std::move(async); });
}

}  // namespace Tessaly::inline v1
