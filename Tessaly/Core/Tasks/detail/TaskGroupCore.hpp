// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <concepts>
#include <cstdint>
#include <utility>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Base/Retained.hpp"
#include "Tessaly/Core/Tasks/Async.hpp"
#include "Tessaly/Core/Tasks/detail/TaskRecord.hpp"

namespace Tessaly::inline v1::detail {

/// A child's place in its group.
struct TaskGroupLink {
  TaskRecord* record = nullptr;
  /// The links in the group's chain `added_` (`next` only) or in the group's list `listed_`. A child that has moved to
  /// the group's `ready_` (a collected child) is in neither.
  TaskGroupLink* next = nullptr;
  TaskGroupLink* previous = nullptr;
  /// The link in the list of the ended children.
  TaskGroupLink* nextEnded = nullptr;
};

/// The part of a group that does not depend on the type of its children's results. It keeps the children that were not
/// taken yet and the order in which they ended. `NextAwaiter` takes one child at a time. The group holds a reference to
/// each child from `start` until the child is taken.
///
/// A child ends with one atomic change. The waiting task moves all ended children to `ready_` at once.
///
/// Thread contract: any thread may add and cancel children, and raise their priority. Only one task at a time may take
/// children and wait.
class TESSALY_EXPORT TaskGroupCore final : public AwaitedWork {
 public:
  TaskGroupCore() = default;
  TaskGroupCore(const TaskGroupCore&) = delete;
  TaskGroupCore& operator=(const TaskGroupCore&) = delete;
  /// Requires that every child has ended. Releases the children that were not taken.
  ~TaskGroupCore();

  /// Adds and starts a child. Takes over the caller's reference.
  void start(TaskGroupLink& child) noexcept;
  /// Adds a child to the ended children, and schedules the task that waits for the group. The child must call this
  /// function last: the child and the group may be gone when the call returns.
  void childEnded(TaskGroupLink& child) noexcept;
  void cancelAll() noexcept;
  [[nodiscard]] bool isCancelled() const noexcept { return isCancelled_.load(std::memory_order_acquire); }
  /// Whether every child has ended and was taken.
  [[nodiscard]] bool isEmpty() const noexcept {
    return count_.load(std::memory_order_acquire) == 0 && ready_.load(std::memory_order_relaxed) == nullptr;
  }
  /// Releases the ended children. Returns false if no child is left. Otherwise the next child that ends schedules the
  /// current task. The current task must be suspended already.
  [[nodiscard]] bool waitForChildren() noexcept;
  /// Marks the children that were not moved to `ready_` yet, and all later children, as cancelled. Appends the newly
  /// marked children to `cancelled`, in the reverse of the order in which they were added.
  void markCancelled(TaskList& cancelled) noexcept;
  void collectBelow(TaskPriority priority, TaskList& children) noexcept override;

  /// Takes the child that ended first among those that were not taken. Waits if no such child has ended yet. Gives null
  /// if no child is left.
  class NextAwaiter {
   public:
    explicit NextAwaiter(TaskGroupCore& group) noexcept : group_(group) {}
    bool await_ready() noexcept {
      child_ = group_.takeEnded();
      return child_ != nullptr || group_.isEmpty();
    }
    template <std::derived_from<AsyncPromiseBase> Promise>
    bool await_suspend(std::coroutine_handle<Promise> handle) noexcept {
      waitingTask_ = threadState.task;
      waitingTask_->setResumePoint(handle);
      return group_.wait(*waitingTask_);
    }
    [[nodiscard]] Retained<TaskRecord> await_resume() noexcept {
      if (waitingTask_ != nullptr) {
        group_.endWait(*waitingTask_);
        child_ = group_.takeEnded();
      }
      return Retained<TaskRecord>::adopt(child_);
    }

   private:
    TaskGroupCore& group_;
    TaskRecord* child_ = nullptr;
    /// The task that awaits a child. Null until `await_suspend` is called.
    TaskRecord* waitingTask_ = nullptr;
  };

 private:
  /// Takes the child that ended first among those that were not taken. The caller takes over the group's reference to
  /// this child. Returns null if no such child has ended yet.
  TaskRecord* takeEnded() noexcept {
    TaskGroupLink* first = ready_.load(std::memory_order_relaxed);
    if (first == nullptr) {
      if (ended_.load(std::memory_order_relaxed) == 0) return nullptr;
      collectEnded();
      first = ready_.load(std::memory_order_relaxed);
      if (first == nullptr) return nullptr;
    }
    ready_.store(first->nextEnded, std::memory_order_relaxed);
    return first->record;
  }
  void collectEnded() noexcept;
  /// Registers a suspended task, so that the next child that ends schedules the task. Returns false if an ended child
  /// can already be taken. Then the task must continue.
  bool wait(TaskRecord& task) noexcept;
  void endWait(TaskRecord& task) noexcept;
  /// Registers the task, so that the next child that ends schedules the task. Returns false, and does not register the
  /// task, if an ended child was not collected yet.
  bool publishWait(TaskRecord& task) noexcept;
  void releaseEnded() noexcept;
  /// Moves the added children from `added_` to `listed_`.
  void listAdded() noexcept TESSALY_REQUIRES(lock_);
  /// Takes a chain of `count` children out of the list.
  void unlist(TaskGroupLink* ended, std::uint32_t count) noexcept;
  /// Raises the minimum priority of later children. Returns whether an earlier child may be below that priority.
  [[nodiscard]] bool raiseLowest(TaskPriority priority) noexcept;
  void findBelow(TaskPriority priority, TaskList& children) noexcept;

  /// The added children that are not in `listed_` yet, the newest first.
  std::atomic<TaskGroupLink*> added_{nullptr};
  UnfairLock lock_;
  /// The children that were moved from `added_` and were not collected yet, the oldest first.
  LinkedNodes<TaskGroupLink> listed_ TESSALY_GUARDED_BY(lock_);
  /// The group's jobs in the queue of the global executor: children that have not started, and the task whose wait for
  /// a child has ended.
  JobFamily waiting_;
  /// The number of children that were added and not yet moved to `ready_`. The number increases before a child is
  /// added, and decreases after the child is in `ready_`.
  std::atomic<std::uint32_t> count_{0};
  /// The ended children that were not collected. The child that ended last comes first. While a task waits, the word
  /// holds that task's address and one set bit.
  std::atomic<std::uintptr_t> ended_{0};
  /// The collected children, in the order of their ends. Only the task that takes the children changes this pointer.
  std::atomic<TaskGroupLink*> ready_{nullptr};
  /// True from the beginning of a wait until the waiting task continues.
  std::atomic<bool> isAwaited_{false};
  std::atomic<bool> isCancelled_{false};
  /// No child is below this priority. This minimum rises with the priority of the waiting parent. A wait searches for
  /// children below the new minimum only if the wait raises the minimum.
  std::atomic<TaskPriority> lowest_{};
  /// The lowest priority with which a child was added.
  std::atomic<TaskPriority> lowestAdded_{TaskPriority::high};
};

/// For the duration of a scope, cancels a group when the current task is cancelled.
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
  void cancelChildren() noexcept { group_.cancelAll(); }
  /// Calls the group's function of the same name. The current task must be suspended already.
  [[nodiscard]] bool waitForChildren() noexcept { return group_.waitForChildren(); }

 private:
  TaskGroupCore& group_;
  TaskRecord& task_;
  TaskGroupCancellation* const outer_;
};

}  // namespace Tessaly::inline v1::detail
