// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <exception>
#include <type_traits>
#include <utility>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Base/FatalError.hpp"
#include "Tessaly/Core/Base/Retained.hpp"
#include "Tessaly/Core/Tasks/Async.hpp"
#include "Tessaly/Core/Tasks/detail/TaskRecord.hpp"

namespace Tessaly::inline v1::detail {

/// The error of a task that ended without a result.
[[nodiscard]] TESSALY_EXPORT std::exception_ptr cancelledOutcome() noexcept;

/// A task with a result of type `T`.
template <typename T>
class TaskState : public TaskRecord {
 public:
  [[nodiscard]] Outcome<T>& outcome() noexcept { return outcome_; }
  /// The outcome, for a caller that passes on the task's error.
  [[nodiscard]] Outcome<T>& read() noexcept {
    isRead_.store(true, std::memory_order_relaxed);
    return outcome_;
  }

  /// Moves the result out of the task, or rethrows the task's error. Used for results that cannot be copied. A second
  /// call stops the process.
  T takeOnce() {
    if (isRead_.exchange(true, std::memory_order_relaxed)) {
      fatalError("The result of a task was taken twice, and cannot be copied", "Tessaly/Task", __LINE__);
    }
    return outcome_.take();
  }

 protected:
  using TaskRecord::TaskRecord;
  ~TaskState() override = default;

  /// Moves the result out of the task's outermost coroutine, and destroys that coroutine.
  void takeOver(std::coroutine_handle<AsyncPromise<T>> root) noexcept {
    outcome_.takeOver(root.promise().outcome());
    root.destroy();
  }
  /// Gives a task without a result the error of a cancelled task.
  void endOutcome() noexcept {
    if (outcome_.isPending()) [[unlikely]]
      outcome_.setError(cancelledOutcome());
  }

  Outcome<T> outcome_;
  /// Whether a call of `read()` or `takeOnce()` has passed on the outcome.
  std::atomic<bool> isRead_{false};
};

/// A task that owns and runs a closure. The closure may return an `Async` or a plain value.
///
/// The compiler instantiates this class for every closure of a host. So the class has only what depends on the closure,
/// and no template of the standard library.
template <typename T, typename Closure, typename Base = TaskState<T>>
class ClosureTask : public Base {
 public:
  template <typename... Arguments>
  explicit ClosureTask(Closure closure, Arguments&&... arguments)
      : Base(std::forward<Arguments>(arguments)...), closure_(std::move(closure)) {}

 protected:
  ~ClosureTask() override { destroyClosure(); }

  std::coroutine_handle<> makeRoot() noexcept final {
    try {
      if constexpr (isAsync<decltype(closure_())>) {
        return root_ = closure_().release();
      } else if constexpr (std::is_void_v<T>) {
        closure_();
        this->outcome_.setValue();
      } else {
        this->outcome_.setValue(closure_());
      }
    } catch (...) {
      this->outcome_.setError(std::current_exception());
    }
    return nullptr;
  }

  void finish() noexcept final {
    if (root_ != nullptr) this->takeOver(root_);
    destroyClosure();
    this->endOutcome();
  }

 private:
  void destroyClosure() noexcept {
    if (!hasClosure_) return;
    hasClosure_ = false;
    closure_.~Closure();
  }

  union {
    Closure closure_;
  };
  bool hasClosure_ = true;
  std::coroutine_handle<AsyncPromise<T>> root_;
};

/// Waits for a task's completion. Cancelling the waiting task does not end the wait.
class TESSALY_EXPORT CompletionAwaiter final : AwaitedWork {
 public:
  explicit CompletionAwaiter(TaskRecord& task) noexcept : task_(task) {}

  bool await_ready() const noexcept { return task_.isDone(); }
  template <std::derived_from<AsyncPromiseBase> Promise>
  bool await_suspend(std::coroutine_handle<Promise> handle) noexcept {
    TaskRecord& self = *threadState.task;
    waiter_.task = &self;
    self.setResumePoint(handle);
    self.setAwaited(*this);
    task_.escalate(self.priority());
    return task_.addWaiter(waiter_);
  }
  void await_resume() noexcept {
    if (waiter_.task != nullptr) waiter_.task->clearAwaited();
  }

 private:
  void collectBelow(TaskPriority priority, TaskList& tasks) noexcept override;

  TaskRecord& task_;
  CompletionWaiter waiter_;
};

}  // namespace Tessaly::inline v1::detail
