// SPDX-License-Identifier: MIT
// Component: Tessaly::Tasks
#pragma once

#include <exception>
#include <functional>
#include <optional>
#include <type_traits>
#include <utility>

#include "Tessaly/Core/Tasks/Async.hpp"
#include "Tessaly/Core/Tasks/Cancellation.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"
#include "Tessaly/Core/Tasks/detail/TaskGroupCore.hpp"
#include "Tessaly/Core/Tasks/detail/TaskState.hpp"

namespace Tessaly::inline v1 {

namespace detail {
template <typename T>
class GroupChildState;
}

/// The child tasks of one scope. `withTaskGroup` makes a group, and does not return before every child has ended.
///
/// Children inherit the priority and the task-locals of the task that adds them, but no isolation. The pool usually
/// starts the children of a group in order. The pool usually prefers the group whose children began to wait for a
/// thread most recently. The comment of `GlobalExecutor` lists the cases in which the pool chooses otherwise. Children
/// may run at the same time. A child may throw. `next()` and `waitForAll()` pass the exception on.
///
/// Thread contract: any thread may add children and cancel all of them. Only one task at a time may wait.
///
///     int total = co_await withTaskGroup<int>([&](TaskGroup<int>& group) -> Async<int> {
///       for (const auto& folder : folders) group.addTask([folder] { return countFiles(folder); });
///       int sum = 0;
///       while (auto count = co_await group.next()) sum += *count;
///       co_return sum;
///     });
template <typename ChildResult = void>
class TaskGroup {
 public:
  /// The result of `next()`: the child's result, or empty if no child is left. For children without a result: true if a
  /// child has ended, false if no child is left.
  using Next = std::conditional_t<std::is_void_v<ChildResult>, bool, std::optional<ChildResult>>;

  TaskGroup() = default;
  TaskGroup(const TaskGroup&) = delete;
  TaskGroup& operator=(const TaskGroup&) = delete;

  /// Starts a child. In a cancelled group the child starts cancelled.
  template <typename Operation>
    requires std::is_invocable_v<std::decay_t<Operation>&>
  void addTask(Operation&& operation) {
    addTask(TaskOptions{}, std::forward<Operation>(operation));
  }
  template <typename Operation>
    requires std::is_invocable_v<std::decay_t<Operation>&>
  void addTask(TaskOptions options, Operation&& operation);

  /// Starts a child unless the group is cancelled. Returns whether it started.
  template <typename Operation>
    requires std::is_invocable_v<std::decay_t<Operation>&>
  bool addTaskUnlessCancelled(Operation&& operation) {
    if (isCancelled()) return false;
    addTask(std::forward<Operation>(operation));
    return true;
  }

  /// A call of this overload does not compile, because an `Async` does not keep the function that made it. A child must
  /// keep that function and its captures until the work has ended.
  template <typename Result>
  void addTask(Async<Result>) {
    static_assert(false, "a child takes a function, not the Async of a call: write addTask([=] { return work(); })");
  }
  template <typename Result>
  void addTask(TaskOptions, Async<Result> call) {
    addTask(std::move(call));
  }
  template <typename Result>
  bool addTaskUnlessCancelled(Async<Result> call) {
    addTask(std::move(call));
    return false;
  }

  /// Waits until a child has ended. Returns that child's result or throws its error. The result is empty if no child is
  /// left. The results come in the order in which the children end.
  [[nodiscard]] Async<Next> next() {
    const auto child = co_await detail::TaskGroupCore::NextAwaiter(core_);
    if (!child) co_return Next{};
    auto& outcome = static_cast<detail::GroupChildState<ChildResult>&>(*child).outcome();
    if constexpr (std::is_void_v<ChildResult>) {
      outcome.take();
      co_return true;
    } else {
      co_return outcome.take();
    }
  }

  /// Waits for all children and discards their results. Throws the first error, after all children have ended.
  [[nodiscard]] Async<void> waitForAll() {
    std::exception_ptr first;
    for (;;) {
      const auto child = co_await detail::TaskGroupCore::NextAwaiter(core_);
      if (!child) break;
      try {
        static_cast<void>(static_cast<detail::GroupChildState<ChildResult>&>(*child).outcome().get());
      } catch (...) {
        if (!first) first = std::current_exception();
      }
    }
    if (first) std::rethrow_exception(first);
  }

  /// Waits for all children and drops their results and errors.
  [[nodiscard]] Async<void> dropAll() {
    while (co_await detail::TaskGroupCore::NextAwaiter(core_)) {
    }
  }

  /// Cancels every child, including the children that are added later.
  void cancelAll() noexcept { core_.cancelAll(); }
  [[nodiscard]] bool isCancelled() noexcept { return core_.isCancelled(); }
  /// Whether all children have ended and all their results were taken.
  [[nodiscard]] bool isEmpty() noexcept { return core_.isEmpty(); }

 private:
  friend class detail::TaskGroupCancellation;

  detail::TaskGroupCore core_;
};

namespace detail {

template <typename T>
class GroupChildState : public TaskState<T> {
 public:
  [[nodiscard]] TaskGroupLink& link() noexcept { return link_; }

 protected:
  GroupChildState(TaskGroupCore& group, TaskPriority priority, Isolation isolation)
      : TaskState<T>(priority, std::move(isolation), TaskLocalCopies::ofTheCaller), group_(group) {
    link_.record = this;
  }
  ~GroupChildState() override = default;

 private:
  void didComplete() noexcept final { group_.childEnded(link_); }

  TaskGroupCore& group_;
  TaskGroupLink link_;
};

}  // namespace detail

template <typename ChildResult>
template <typename Operation>
  requires std::is_invocable_v<std::decay_t<Operation>&>
void TaskGroup<ChildResult>::addTask(TaskOptions options, Operation&& operation) {
  using Closure = std::decay_t<Operation>;
  static_assert(std::is_same_v<detail::AsyncInvokeResult<Closure&>, ChildResult>,
                "the operation must give the group's child result");
  auto* child = new detail::ClosureTask<ChildResult, Closure, detail::GroupChildState<ChildResult>>(
      std::forward<Operation>(operation), core_, options.priority.value_or(Task<>::currentPriority()),
      std::move(options.isolation).value_or(Isolation()));
  core_.start(child->link());
}

/// Calls the body with a new group, waits for the group's children, and returns the body's result.
///
/// The body must return an `Async`. If the body throws, the group cancels all children, waits for them, and then passes
/// the exception on. If the body returns, the group waits for the remaining children and discards their results and
/// errors. Cancelling the current task cancels the children.
///
/// Thread contract: thread-safe.
template <typename ChildResult = void, typename Body>
auto withTaskGroup(Body body) -> std::invoke_result_t<Body&, TaskGroup<ChildResult>&> {
  using Result = std::invoke_result_t<Body&, TaskGroup<ChildResult>&>::Result;
  TaskGroup<ChildResult> group;
  detail::Outcome<Result> outcome;
  const detail::TaskGroupCancellation cancellation(group);
  try {
    if constexpr (std::is_void_v<Result>) {
      co_await std::invoke(body, group);
      outcome.setValue();
    } else {
      outcome.setValue(co_await std::invoke(body, group));
    }
  } catch (...) {
    outcome.setError(std::current_exception());
    group.cancelAll();
  }
  if (!group.isEmpty()) co_await group.dropAll();
  co_return outcome.take();
}

}  // namespace Tessaly::inline v1
