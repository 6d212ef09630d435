// SPDX-License-Identifier: MIT
// Component: Tessaly::Concurrency
#pragma once

#include <cstdint>
#include <type_traits>
#include <utility>
#include <vector>

#include "Tessaly/Concurrency/detail/ReportedTask.hpp"
#include "Tessaly/Concurrency/detail/RunningTasks.hpp"
#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"
#include "Tessaly/Core/Tasks/TaskLocal.hpp"

namespace Tessaly::inline v1 {

namespace detail {
/// The identifier of the scope to which the current task belongs. A task inherits the scope's identifier from the task
/// that starts it, unless it is detached. 0 for a task without a scope.
TESSALY_EXPORT extern const TaskLocal<std::uint64_t> taskScope;
}  // namespace detail

/// A set of tasks that end with a scope of ordinary code: the destructor cancels the tasks and waits for them.
///
/// Because the destructor waits, the tasks may use the variables that were made before the scope. The destructor waits
/// like `syncWait`. On the main thread it runs jobs of the main queue while it waits. So jobs of other parts of the
/// program run inside the destructor. On another thread the destructor sleeps. Cancellation is cooperative: a task that
/// ignores it keeps the scope waiting.
///
/// Cancellation handlers, and jobs that the main thread runs while it waits, may add tasks to the scope. A task that is
/// added during the destruction is cancelled at once. The destructor waits for it, too.
///
/// In a coroutine use `withTaskGroup`, which suspends instead. A window or a model uses `OwnedTasks`, which never
/// waits. The nearest standard facility, a vector of `std::jthread`, takes a thread for each task.
///
/// The destructor and `wait()` stop the process in three places, where waiting could deadlock. The first place is a
/// task of the scope itself, or a task that such a task has started, unless it is detached. The second place is a
/// thread of the pool. The third place is a job of a serial executor on any thread except the main thread.
///
/// Thread contract: thread-compatible. Adding a task takes one allocation more than starting a `Task`.
///
///     std::vector<std::string> titles = titlesOf(documents);
///     TaskScope scope;
///     scope.add([&titles] { return printSlowly(titles); });
///     waitForEnterKey();
///     // Here the printing is cancelled and waited for.
class TaskScope {
 public:
  TESSALY_EXPORT TaskScope() noexcept;
  TaskScope(const TaskScope&) = delete;
  TaskScope& operator=(const TaskScope&) = delete;
  /// Cancels the tasks and waits until all have ended.
  TESSALY_EXPORT ~TaskScope();

  /// Starts a task, which is cancelled at once if the scope is being destroyed. The operation must not return a result,
  /// but may write to variables that outlive the scope. An exception of the operation reaches the tasks that await
  /// `value()` of the returned `Task<>`. If none has received it before the end of the scope, the exception leaves one
  /// log record of type `error`, unless it is a `CancellationError`.
  template <typename Operation>
    requires std::is_invocable_v<std::decay_t<Operation>&>
  Task<> add(Operation&& operation) {
    return add(TaskOptions{}, std::forward<Operation>(operation));
  }
  template <typename Operation>
    requires std::is_invocable_v<std::decay_t<Operation>&>
  Task<> add(TaskOptions options, Operation&& operation) {
    static_assert(std::is_void_v<detail::AsyncInvokeResult<std::decay_t<Operation>&>>,
                  "a task of a TaskScope gives no result: let it write to a variable made before the scope");
    const auto finished = detail::makeRoomForTask(tasks_);
    detail::GivenOperation<Operation> given{std::forward<Operation>(operation)};
    return start(detail::taskScope.withValue(identifier_, [&] {
      return Retained<detail::TaskState<void>>::adopt(detail::makeReportedTask(
          options.priority.value_or(Task<>::currentPriority()),
          options.isolation ? std::move(*options.isolation) : Isolation::current(), given.kind, &given));
    }));
  }

  /// A call of this overload does not compile, because an `Async` does not keep the function that made it. A task must
  /// keep that function and its captures until the work has ended.
  template <typename Result>
  void add(Async<Result>) {
    detail::refuseAsync<Result>();
  }

  /// Cancels the tasks that were added so far.
  TESSALY_EXPORT void cancel() const;
  /// Waits until the tasks that were added so far have ended.
  TESSALY_EXPORT void wait() const;

 private:
  TESSALY_EXPORT Task<> start(Retained<detail::TaskState<void>> state);

  const std::uint64_t identifier_;
  std::vector<Task<>> tasks_;
  /// Whether the destructor runs.
  bool isEnding_ = false;
};

}  // namespace Tessaly::inline v1
