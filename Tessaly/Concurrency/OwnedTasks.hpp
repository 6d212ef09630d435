// SPDX-License-Identifier: MIT
// Component: Tessaly::Concurrency
#pragma once

#include <type_traits>
#include <utility>
#include <vector>

#include "Tessaly/Concurrency/detail/ReportedTask.hpp"
#include "Tessaly/Concurrency/detail/RunningTasks.hpp"
#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"

namespace Tessaly::inline v1 {

namespace detail {
class OwnerExecutor;
}

/// The tasks of one object, such as a window or a model. An `OwnedTasks` is a member of that object, and the member's
/// destructor ends the tasks.
///
/// The tasks run in the object's isolation, so they may use `this`. The destructor cancels them and never waits. From
/// then on no statement of the tasks runs in that isolation: neither the code after a wait nor a `catch` block. The
/// only exception is a task that itself destroys the object (see below). The local variables of the tasks are
/// destroyed, so clean up in destructors. Make the `OwnedTasks` the last member, so that it is destroyed first.
///
/// The state of a task at the moment of the destruction decides how the task ends:
/// - A task that has not started does not start. Some waits, such as a sleep or a stream's `next()`, end at a
///   cancellation. A task in such a wait is destroyed in the destructor. So the destructors of its local variables and
///   of its closure can still use the object.
/// - A task may be on the pool, on a blocking thread or in another isolation at that moment. It continues there and
///   sees that it is cancelled. It must own the objects that it uses there. When it returns to the object's isolation,
///   its variables and its closure are destroyed there, after the children of its task groups have ended. The
///   destructors of these variables must not use the object. A task that waits for another task or for a continuation
///   goes on waiting. When that wait ends, the task ends by the same rules.
/// - If one of the tasks destroys the object, that task runs to its next wait, as after `delete this`.
///
/// A task of the object may itself start a task:
/// - Without a named isolation, the started task runs in the object's isolation too. The destruction does not cancel
///   its present wait or its work elsewhere. When it would next run in that isolation, it ends instead. At that moment
///   the children of its task groups are cancelled.
/// - With a named isolation, the destruction does not affect the started task.
///
/// If the destruction ends a task, awaiting that task throws a `CancellationError`.
///
/// Cancellation handlers and destructors of local variables may run inside `end()` or the destructor. They may call
/// `add` and `end`. A task that they add inside `end()` runs afterwards. A task that they add inside the destructor
/// never starts.
///
/// See `TaskScope` for a scope that waits for its tasks, and `AutoCancelTask` for a handle that only cancels its task.
/// The nearest standard facility, a `std::jthread` member, blocks its owner's destructor until the thread has ended.
///
/// Stops the process: construction with an `Isolation` that has no executor; destruction, `add` or `end` outside the
/// isolation of the `OwnedTasks`.
///
/// Thread contract: thread-compatible; used in its isolation only. Adding a task costs as much as starting a `Task`.
///
///     class Preview {
///      public:
///       void show(Document document) {
///         tasks_.add([this, document]() -> Async<void> {
///           picture_ = co_await drawn(document);
///           update();
///         });
///       }
///
///      private:
///       Picture picture_;
///       OwnedTasks tasks_;
///     };
class OwnedTasks {
 public:
  /// Makes an empty set of tasks in an isolation, by default the caller's. For ordinary code on the main thread, the
  /// caller's isolation is that of the main queue. Ordinary code on other threads has no isolation. There the default
  /// argument stops the process.
  TESSALY_EXPORT explicit OwnedTasks(const Isolation& isolation = Isolation::current());
  OwnedTasks(const OwnedTasks&) = delete;
  OwnedTasks& operator=(const OwnedTasks&) = delete;
  /// Cancels the tasks and does not wait for them. Afterwards no statement of the tasks runs in the isolation of the
  /// `OwnedTasks`. The only exception is a task that itself destroys the `OwnedTasks`.
  TESSALY_EXPORT ~OwnedTasks();

  /// Starts a task in the object's isolation, at the caller's priority. The operation must not return a result; it
  /// changes the object instead. An exception of the operation reaches the tasks that await `value()` of the returned
  /// `Task<>`. Without such a task, the exception leaves one log record of type `error`, unless it is a
  /// `CancellationError`.
  template <detail::TaskOperation Operation>
  Task<> add(Operation&& operation) {
    return add(Task<>::currentPriority(), std::forward<Operation>(operation));
  }
  /// Like `add(operation)`, but starts the task at the given priority.
  template <detail::TaskOperation Operation>
  Task<> add(TaskPriority priority, Operation&& operation) {
    static_assert(std::is_void_v<detail::OperationResult<std::decay_t<Operation>>>,
                  "a task of OwnedTasks gives no result: let it change its owner, or use a Task");
    detail::GivenOperation<Operation> given{static_cast<Operation&&>(operation)};
    return start(
        priority,
        [](void* source, TaskPriority taskPriority, Isolation&& isolation) {
          return detail::makeReportedTask(taskPriority, std::move(isolation), detail::GivenOperation<Operation>::kind,
                                          source);
        },
        &given);
  }

  /// A call of this overload does not compile, because an `Async` does not keep the function that made it. A task must
  /// keep that function and its captures until the work has ended.
  template <typename Result>
  void add(Async<Result>) {
    detail::refuseAsync<Result>();
  }

  /// Ends the tasks now, like the destructor. Further tasks may be added. A task may hold the last reference to the
  /// object. Then this call destroys the object, and the caller must not use the object afterwards.
  TESSALY_EXPORT void end();

 private:
  [[nodiscard]] TESSALY_EXPORT Isolation isolation() const;
  /// Makes a task from the operation that `given` contains.
  using Make = detail::TaskState<void>* (*)(void* given, TaskPriority priority, Isolation&& isolation);
  /// Starts a task and keeps it. The function is in the library, so a host compiles only `make` for each operation.
  TESSALY_EXPORT Task<> start(TaskPriority priority, Make make, void* given);

  /// The executor of the tasks that were added since the last `end()`.
  detail::OwnerExecutor* executor_;
  std::vector<Task<>> tasks_;
};

}  // namespace Tessaly::inline v1
