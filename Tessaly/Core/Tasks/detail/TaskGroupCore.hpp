// SPDX-License-Identifier: MIT
#pragma once

#include <concepts>
#include <cstddef>
#include <utility>
#include <vector>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Base/Retained.hpp"
#include "Tessaly/Core/Tasks/Async.hpp"
#include "Tessaly/Core/Tasks/detail/TaskRecord.hpp"

namespace Tessaly::inline v1::detail {

/// A child's place in its group.
struct TaskGroupLink {
  TaskRecord* record = nullptr;
  TaskGroupLink* next = nullptr;
  TaskGroupLink* previous = nullptr;
};

/// What a group does whatever its children's result: it knows those that are running and those that have ended, in the
/// order of their ends. It holds a reference on each.
///
/// Thread contract: thread-safe; one task at a time waits.
class TESSALY_EXPORT TaskGroupCore final : public AwaitedWork {
 public:
  TaskGroupCore() = default;
  TaskGroupCore(const TaskGroupCore&) = delete;
  TaskGroupCore& operator=(const TaskGroupCore&) = delete;
  /// Once no child is running. Releases the children that were not taken.
  ~TaskGroupCore();

  /// Adds a child that is about to start; takes the caller's reference over.
  void add(TaskGroupLink& child) noexcept;
  /// Called by the child's record when it has ended. The group may be gone when this returns.
  void childCompleted(TaskGroupLink& child) noexcept;
  void cancelAll() noexcept;
  [[nodiscard]] bool isCancelled() noexcept;
  /// Whether no child is running or waiting to be taken.
  [[nodiscard]] bool isEmpty() noexcept;
  /// False if no child is running. Otherwise the suspension, that of the only task that waits, is resumed once the last
  /// running child has ended.
  [[nodiscard]] bool waitForChildren(Suspension& suspension) noexcept;
  /// Marks the running children, and those added later, as cancelled. Adds the marked ones to the list, the first one
  /// last.
  void markCancelled(TaskList& cancelled) noexcept;
  void collectBelow(TaskPriority priority, TaskList& children) noexcept override;

  /// Gives the child that ended first among those not taken yet; none when there are no children left.
  class NextAwaiter {
   public:
    explicit NextAwaiter(TaskGroupCore& group) noexcept : group_(group) {}
    bool await_ready() noexcept {
      UnfairLock::Guard guard(group_.lock_);
      group_.stopIfAwaited();
      return group_.takeOrKnowEmpty(child_);
    }
    template <std::derived_from<AsyncPromiseBase> Promise>
    bool await_suspend(std::coroutine_handle<Promise> handle) noexcept {
      suspension_.arm(handle);
      return wait();
    }
    [[nodiscard]] Retained<TaskRecord> await_resume() noexcept;

   private:
    TESSALY_EXPORT bool wait() noexcept;

    TaskGroupCore& group_;
    TaskRecord* child_ = nullptr;
    Suspension suspension_;
    bool waits_ = false;
  };

 private:
  struct List {
    TaskGroupLink* first = nullptr;
    TaskGroupLink* last = nullptr;
    void append(TaskGroupLink& link) noexcept;
    void remove(TaskGroupLink& link) noexcept;
  };

  /// True if there is an answer: a child, or none because there are no more.
  bool takeOrKnowEmpty(TaskRecord*& child) noexcept TESSALY_REQUIRES(lock_);

  void stopIfAwaited() const noexcept TESSALY_REQUIRES(lock_);

  UnfairLock lock_;
  List running_ TESSALY_GUARDED_BY(lock_);
  List ended_ TESSALY_GUARDED_BY(lock_);
  Suspension* waiting_ TESSALY_GUARDED_BY(lock_) = nullptr;
  /// From the beginning of a wait until the waiting task has taken its answer.
  bool isAwaited_ TESSALY_GUARDED_BY(lock_) = false;
  bool isCancelled_ TESSALY_GUARDED_BY(lock_) = false;
  bool waitsForAll_ TESSALY_GUARDED_BY(lock_) = false;
  /// No child is below this priority. It rises with the waiting parent, so a wait looks at the children only then.
  TaskPriority lowest_ TESSALY_GUARDED_BY(lock_){};
};

/// Cancels a group with the current task, for the extent of a scope.
class TaskGroupCancellation final : public CancellationHandler {
 public:
  template <typename Group>
  explicit TaskGroupCancellation(Group& group) noexcept
      : CancellationHandler([](CancellationHandler& handler, TaskList& further) noexcept {
          static_cast<TaskGroupCancellation&>(handler).group_.markCancelled(further);
        }),
        group_(group.core_),
        task_(*threadState.task),
        outer_(std::exchange(task_.groupScope, this)) {
    if (!task_.addCancellationHandler(*this)) group_.cancelAll();
  }
  ~TaskGroupCancellation() {
    task_.groupScope = outer_;
    task_.removeCancellationHandler(*this);
  }

  /// The scope of the next outer group that the task is in.
  [[nodiscard]] TaskGroupCancellation* outer() const noexcept { return outer_; }
  /// Suspends the current task, at the point where it is suspended already, until no child is running. False if none
  /// is.
  [[nodiscard]] bool waitForChildren(std::coroutine_handle<> resumePoint) noexcept {
    childrenEnded_.arm(resumePoint);
    return group_.waitForChildren(childrenEnded_) && childrenEnded_.commit();
  }

 private:
  TaskGroupCore& group_;
  TaskRecord& task_;
  TaskGroupCancellation* const outer_;
  Suspension childrenEnded_;
};

}  // namespace Tessaly::inline v1::detail
