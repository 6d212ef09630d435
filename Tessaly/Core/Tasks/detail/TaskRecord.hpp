// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <new>
#include <vector>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Base/Retained.hpp"
#include "Tessaly/Core/Locks/UnfairLock.hpp"
#include "Tessaly/Core/Tasks/Coroutines.hpp"
#include "Tessaly/Core/Tasks/Executor.hpp"
#include "Tessaly/Core/Tasks/GlobalExecutor.hpp"
#include "Tessaly/Core/Tasks/Isolation.hpp"
#include "Tessaly/Core/Tasks/detail/FramePool.hpp"
#include "Tessaly/Core/Tasks/detail/TaskLocalBinding.hpp"
#include "Tessaly/Core/Tasks/detail/ThreadState.hpp"

// The runtime's record of a task, and the two parts of a coroutine's wait: a suspension and a cancellation handler. A
// call of `resume` ends the suspension. The task's cancellation calls the cancellation handler.

namespace Tessaly::inline v1::detail {

class TaskRecord;
class TaskGroupCancellation;
using TaskList = std::vector<Retained<TaskRecord>>;

/// The tasks that one task waits for. A raise of the waiting task's priority reaches them. The object lives in a frame
/// of the waiting task.
class AwaitedWork {
 public:
  /// Adds the awaited tasks whose priority is below `priority` to `tasks`. Children that are added to a group later
  /// start at least at that priority. Called with the lock of the waiting task held, so that the waiting task does not
  /// leave the wait meanwhile.
  virtual void collectBelow(TaskPriority priority, TaskList& tasks) noexcept = 0;

 protected:
  ~AwaitedWork() = default;
};

/// A function that a task's cancellation calls. Lives in the frame of the waiting coroutine.
class CancellationHandler {
 public:
  /// Reacts to the cancellation of the handler's task. A function that also cancels the children of a group should only
  /// mark them and add them to `further`. Calling `cancel()` on them here would use stack for each level of nested
  /// groups.
  using Function = void (*)(CancellationHandler&, TaskList& further) noexcept;

  explicit CancellationHandler(Function function) noexcept : function_(function) {}
  CancellationHandler(const CancellationHandler&) = delete;
  CancellationHandler& operator=(const CancellationHandler&) = delete;

 protected:
  ~CancellationHandler() = default;

 private:
  friend class TaskRecord;
  enum class State : std::uint8_t { removed, added, running };

  Function function_;
  State state_ = State::removed;
  // Set when the handler is added.
  CancellationHandler* next_;
  CancellationHandler* previous_;
  // Set when the handler is called.
  std::uint32_t runningThread_;
  /// Points to a flag. If the handler itself calls `removeCancellationHandler`, that call sets the flag. Then the
  /// handler's storage may be gone when the handler returns.
  bool* isGone_;
};

/// One wait of the current task. The awaiter calls `arm`, passes the suspension to the code that will resume it, and
/// returns `commit()` from `await_suspend`. One call of `resume`, on any thread and at any time after `arm`, ends the
/// wait. A second call must not follow. If the wait ends before `commit`, the task continues at once. Otherwise
/// `resume` enqueues the task on its executor.
class Suspension {
 public:
  void arm(std::coroutine_handle<> handle) noexcept;
  /// Ends the preparation of the wait. Returns whether the task is suspended now. If so, the awaiter may be gone.
  [[nodiscard]] bool commit() noexcept {
    State expected = State::armed;
    return state_.compare_exchange_strong(expected, State::suspended, std::memory_order_acq_rel,
                                          std::memory_order_acquire);
  }
  void resume() noexcept;
  [[nodiscard]] TaskRecord& task() const noexcept { return *task_; }

 private:
  enum class State : std::uint8_t { armed, suspended, resumed };

  TaskRecord* task_ = nullptr;
  std::atomic<State> state_{State::armed};
};

/// A task that waits for another task's completion. Lives in the frame of the waiting task.
struct CompletionWaiter {
  TaskRecord* task = nullptr;
  CompletionWaiter* next = nullptr;
};

/// The runtime's record of a task. It is reference-counted, and it is the job that runs the task.
class TESSALY_EXPORT TaskRecord : public Job {
 public:
  TaskRecord(const TaskRecord&) = delete;
  TaskRecord& operator=(const TaskRecord&) = delete;

  /// The memory of records comes from the free lists of coroutine frames. The general allocator would cost a third of
  /// the time of a small task.
  static void* operator new(std::size_t size) { return allocateFrame(size); }
  static void operator delete(void* record, std::size_t size) noexcept { freeFrame(record, size); }
  /// For records whose closure needs more than the usual alignment.
  static void* operator new(std::size_t size, std::align_val_t alignment) { return ::operator new(size, alignment); }
  static void operator delete(void* record, std::size_t size, std::align_val_t alignment) noexcept {
    ::operator delete(record, size, alignment);
  }

  void retain() noexcept { references_.fetch_add(1, std::memory_order_relaxed); }
  void release() noexcept {
    // If this is the only reference, no atomic change is needed, because no other thread can add a reference.
    if (references_.load(std::memory_order_acquire) == 1 || references_.fetch_sub(1, std::memory_order_acq_rel) == 1) {
      destroy();
    }
  }

  /// Starts the new task on its executor. The running task holds a reference to itself.
  void start() noexcept {
    references_.store(2, std::memory_order_relaxed);
    schedule();
  }
  /// Enqueues the task on its executor.
  void schedule() noexcept {
    Executor* executor = executor_.load(std::memory_order_relaxed);
    (executor != nullptr ? *executor : GlobalExecutor::shared()).enqueue(*this);
  }

  /// Enqueues the new task on its executor. On the global executor the task belongs to the family.
  void scheduleIn(JobFamily& family) noexcept {
    Executor* executor = executor_.load(std::memory_order_relaxed);
    executor != nullptr ? executor->enqueue(*this) : GlobalExecutor::shared().enqueueInFamily(*this, family);
  }

  /// Enqueues this task, which must be ready to continue. The running job must be about to end. The job runs either
  /// this task, which yields, or another task, which has ended and for which this task has waited. A thread of the pool
  /// acquires the pool's lock at most once, both to queue this task and to take the next job.
  void scheduleAtEndOfJob(JobFamily* family = nullptr) noexcept {
    ThreadState& state = threadState;
    if (state.mayHandOver && state.traded == nullptr && executor() == nullptr) {
      state.traded = this;
      state.tradedFamily = family;
    } else {
      schedule();
    }
  }

  /// Does nothing in the child of a fork: the task runs in the parent.
  void cancel() noexcept;
  /// Marks the task as cancelled. Returns false if the task is already marked as cancelled or done. If the result is
  /// true, the caller must make sure that the task's handlers are called.
  [[nodiscard]] bool markCancelled() noexcept;
  [[nodiscard]] bool isCancelled() const noexcept {
    return (word_.load(std::memory_order_acquire) & cancelledBit) != 0;
  }
  [[nodiscard]] bool isDone() const noexcept { return (word_.load(std::memory_order_acquire) & doneBit) != 0; }

  /// Adds a handler. Returns false if the task is cancelled already. In that case the handler is not added, and the
  /// caller must do the handler's work itself. Only the task itself may call this function.
  [[nodiscard]] bool addCancellationHandler(CancellationHandler& handler) noexcept {
    UnfairLock::Guard guard(lock_);
    if (isCancelled()) return false;
    handler.state_ = CancellationHandler::State::added;
    handler.next_ = handlers_;
    handler.previous_ = nullptr;
    if (handlers_ != nullptr) handlers_->previous_ = &handler;
    handlers_ = &handler;
    return true;
  }
  /// Removes a handler. If the handler is running on another thread, waits until the handler returns. Does not wait for
  /// a call on this thread's stack. No call of the handler begins afterwards.
  void removeCancellationHandler(CancellationHandler& handler) noexcept {
    lock_.lock();
    if (handler.state_ == CancellationHandler::State::added) [[likely]] {
      unlink(handler);
      lock_.unlock();
      return;
    }
    removeCalledHandler(handler);
  }

  /// Adds a waiter. The completion of this task schedules the waiter's suspended task. Returns false if this task is
  /// done already. If the result is true, the waiting task may already have continued and destroyed the waiter.
  [[nodiscard]] bool addWaiter(CompletionWaiter& waiter) noexcept;

  /// Raises the priority of the task and of the tasks that it waits for.
  void escalate(TaskPriority priority) noexcept;
  /// Records the tasks that this task waits for from now on. Only the task itself may call this function. The task must
  /// then raise the awaited tasks to its own priority.
  void setAwaited(AwaitedWork& work) noexcept { awaited_.exchange(&work, std::memory_order_seq_cst); }
  /// Forgets the tasks that `setAwaited` recorded. If a raise is using the awaited tasks now, waits for that raise. No
  /// raise uses the awaited tasks afterwards.
  void clearAwaited() noexcept {
    awaited_.exchange(nullptr, std::memory_order_seq_cst);
    waitForRaise();
  }

  /// The executor of the task's present isolation. Null means the global executor.
  [[nodiscard]] Executor* executor() const noexcept { return executor_.load(std::memory_order_relaxed); }
  /// Changes the executor, but does not enqueue the task. Only the task itself may call this function. The previous
  /// executor may be destroyed afterwards. If another thread raises the task's priority meanwhile, that thread holds
  /// its own reference to the previous executor.
  void setExecutor(Executor* executor) noexcept {
    if (this->executor() == nullptr) {
      executor_.store(executor, std::memory_order_release);
    } else {
      leaveExecutorFor(executor);
    }
  }
  [[nodiscard]] Isolation isolation() const noexcept {
    Executor* executor = this->executor();
    return executor != nullptr ? Isolation(*executor) : Isolation();
  }

  void setResumePoint(std::coroutine_handle<> handle) noexcept { resumePoint_ = handle; }

  /// The task of a job. Null for a job of another kind.
  [[nodiscard]] static TaskRecord* of(Job& job) noexcept;
  /// Ends the task without resuming its code. Destroys the task's coroutines, and gives the tasks that await this task
  /// a `CancellationError`. An executor that must not run the task any more calls `discard()` in place of `job.run()`.
  /// If children of the task's groups have not ended, the call only cancels them. Then the next child that ends
  /// enqueues this task again, and the executor must call `discard()` again.
  void discard() noexcept;
  /// The executor for a move of this task to `target`. If the task was started on an executor whose base is `target`,
  /// the result is the executor on which the task was started. Otherwise the result is `target`.
  [[nodiscard]] Executor* inOwner(Executor* target) const noexcept {
    Executor* const own = isolation_.executor();
    return target != nullptr && own != nullptr && own != target && &own->base() == target ? own : target;
  }
  /// The scope of the innermost group that this task has opened and not left yet. Used by the task itself.
  TaskGroupCancellation* groupScope = nullptr;

  /// The innermost task-local binding.
  TaskLocalBinding* bindings = nullptr;

 protected:
  /// Copies the bindings of the current task or thread, unless `copies` is `none`.
  TaskRecord(TaskPriority priority, Isolation isolation, TaskLocalCopies copies);
  virtual ~TaskRecord();

  /// Calls the closure. Returns the outermost coroutine, or null if the closure did all the work without a coroutine.
  virtual std::coroutine_handle<> makeRoot() noexcept = 0;
  /// Takes over the result from the coroutine, and destroys the coroutine and the closure.
  virtual void finish() noexcept = 0;
  /// Marks this task as done, schedules the tasks that wait for it, and releases the reference that kept this record
  /// alive during the run. Called after `finish()`. The record may be gone when the call returns. An override notifies
  /// a waiting thread or a task group instead. A task with an override is never marked as done.
  virtual void didComplete() noexcept;
  /// The number of references, including that of a run. Other threads may change it at any time.
  [[nodiscard]] std::uint32_t references() const noexcept { return references_.load(std::memory_order_acquire); }

 private:
  // The bits of `word_` below the pointer to the newest waiter.
  static constexpr std::uintptr_t cancelledBit = 1;
  static constexpr std::uintptr_t doneBit = 2;
  /// Set while a thread that raises the task's priority holds the lock. Meanwhile that thread uses the task's executor
  /// and awaited tasks.
  static constexpr std::uintptr_t raiseBit = 4;
  static constexpr std::uintptr_t wordBits = 7;

  static void runTask(Job& job) noexcept;
  /// Notifies the executor of a raised priority. Adds the awaited tasks with a lower priority to the list.
  void wasRaised(TaskList& awaited) noexcept;
  /// Calls the handlers of this marked task, and adds further marked tasks to the list. The caller must keep this task
  /// alive, and must later call the handlers of the added tasks.
  void callHandlers(TaskList& further) noexcept;
  void leaveExecutorFor(Executor* executor) noexcept;
  /// Called after this task has replaced `executor_` or `awaited_`. If a raise may have seen the old pointer, waits
  /// until that raise has ended. Either the raise sees the new pointer, or this thread sees the raise.
  void waitForRaise() noexcept {
    if ((word_.load(std::memory_order_seq_cst) & raiseBit) != 0) [[unlikely]]
      passLock();
  }
  void passLock() noexcept;
  void complete() noexcept;
  /// Schedules the waiting tasks in the order in which they began to wait.
  static void resumeWaiters(std::uintptr_t word) noexcept;
  /// Registers this task, so that the next group child that ends schedules this task. Returns false if no group child
  /// is left.
  bool waitForGroupChildren() noexcept;
  void destroy() noexcept { delete this; }
  void unlink(CancellationHandler& handler) noexcept TESSALY_REQUIRES(lock_) {
    (handler.previous_ != nullptr ? handler.previous_->next_ : handlers_) = handler.next_;
    if (handler.next_ != nullptr) handler.next_->previous_ = handler.previous_;
    handler.state_ = CancellationHandler::State::removed;
  }
  void removeCalledHandler(CancellationHandler& handler) noexcept TESSALY_RELEASE(lock_);

  std::atomic<std::uint32_t> references_{1};
  /// A pointer to the newest `CompletionWaiter`, and three flags. Each waiter has a pointer to the waiter that was
  /// added before it. Each wait changes this word once, and so does the completion.
  std::atomic<std::uintptr_t> word_{0};
  std::atomic<Executor*> executor_;
  std::coroutine_handle<> resumePoint_;
  Isolation isolation_;
  UnfairLock lock_;
  std::atomic<std::uint32_t> calledHandlers_{0};
  CancellationHandler* handlers_ TESSALY_GUARDED_BY(lock_) = nullptr;
  std::atomic<AwaitedWork*> awaited_{nullptr};
};

inline TaskLocalBinding*& TaskLocalBinding::list() noexcept {
  return threadState.task != nullptr ? threadState.task->bindings : threadState.bindings;
}

inline void Suspension::arm(std::coroutine_handle<> handle) noexcept {
  task_ = threadState.task;
  task_->setResumePoint(handle);
  state_.store(State::armed, std::memory_order_relaxed);
}

inline void Suspension::resume() noexcept {
  TaskRecord* task = task_;  // The awaiter may be gone after the exchange of the state.
  if (state_.exchange(State::resumed, std::memory_order_acq_rel) == State::suspended) task->schedule();
}

}  // namespace Tessaly::inline v1::detail
