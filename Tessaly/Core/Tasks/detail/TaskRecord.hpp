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

// What the runtime keeps of a task, and the two ways in which a coroutine waits: a suspension, which somebody ends, and
// a cancellation handler, which the task's cancellation calls.

namespace Tessaly::inline v1::detail {

class TaskRecord;
class TaskGroupCancellation;
using TaskList = std::vector<Retained<TaskRecord>>;

/// The tasks whose ends one task waits for, so that a raise of its priority reaches them. Lives in a frame of the task
/// that waits.
class AwaitedWork {
 public:
  /// Adds those below the priority, and sees to it that later ones start at it. Called with the lock of the waiting
  /// task held, which does not leave the wait meanwhile.
  virtual void collectBelow(TaskPriority priority, TaskList& tasks) noexcept = 0;

 protected:
  ~AwaitedWork() = default;
};

/// A function that a task's cancellation calls; lives in the frame of whoever waits.
class CancellationHandler {
 public:
  /// Marks the tasks that are cancelled with this one, and adds them to the list. Cancelling them here would use more
  /// stack the deeper groups are nested.
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
  /// Set by `remove` from inside the handler itself: the handler's storage is gone when it returns.
  bool* isGone_;
};

/// One wait of the current task. The awaiter calls `arm` first, then lets others know of it, then returns `commit()`
/// from `await_suspend`; whoever ends the wait calls `resume` once, at any time after `arm`. If it was ended before
/// `commit`, the task simply goes on. Otherwise it is enqueued on its executor, never run inline.
class Suspension {
 public:
  void arm(std::coroutine_handle<> handle) noexcept;
  /// Whether the task is suspended now. After true the awaiter must not be touched.
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

/// A task that waits for another one's completion; lives in its frame.
struct CompletionWaiter {
  TaskRecord* task = nullptr;
  CompletionWaiter* next = nullptr;
};

/// A task as the runtime sees it: reference-counted, its own job.
class TESSALY_EXPORT TaskRecord : public Job {
 public:
  TaskRecord(const TaskRecord&) = delete;
  TaskRecord& operator=(const TaskRecord&) = delete;

  /// Records come from the lists of coroutine frames: the general allocator costs a third of a small task.
  static void* operator new(std::size_t size) { return allocateFrame(size); }
  static void operator delete(void* record, std::size_t size) noexcept { freeFrame(record, size); }
  /// Those with a closure that needs more than the usual alignment do not.
  static void* operator new(std::size_t size, std::align_val_t alignment) { return ::operator new(size, alignment); }
  static void operator delete(void* record, std::size_t size, std::align_val_t alignment) noexcept {
    ::operator delete(record, size, alignment);
  }

  void retain() noexcept { references_.fetch_add(1, std::memory_order_relaxed); }
  void release() noexcept {
    // A reference that is the only one needs no atomic change: no other thread can add one.
    if (references_.load(std::memory_order_acquire) == 1 || references_.fetch_sub(1, std::memory_order_acq_rel) == 1) {
      destroy();
    }
  }

  /// Starts the task, which is new, on its executor. The running task holds a reference on itself.
  void start() noexcept {
    references_.store(2, std::memory_order_relaxed);
    schedule();
  }
  /// Enqueues the task where it must go on.
  void schedule() noexcept {
    Executor* executor = executor_.load(std::memory_order_relaxed);
    (executor != nullptr ? *executor : GlobalExecutor::shared()).enqueue(*this);
  }

  /// Enqueues the task, which may go on, in a job that ends now: it yields itself, or has waited for the job's task. On
  /// the pool the thread trades it for the next job under one lock.
  void scheduleAtEndOfJob() noexcept {
    ThreadState& state = threadState;
    if (state.mayHandOver && state.traded == nullptr && executor() == nullptr) {
      state.traded = this;
    } else {
      schedule();
    }
  }

  /// Does nothing in the child of a fork: the task runs in the parent.
  void cancel() noexcept;
  /// False if the task was cancelled or has ended already; otherwise the caller sees to it that its handlers are
  /// called.
  [[nodiscard]] bool markCancelled() noexcept;
  [[nodiscard]] bool isCancelled() const noexcept {
    return (word_.load(std::memory_order_acquire) & cancelledBit) != 0;
  }
  [[nodiscard]] bool isDone() const noexcept { return (word_.load(std::memory_order_acquire) & doneBit) != 0; }

  /// False if the task is cancelled already: then the handler was not added, and the caller calls it. By the task
  /// itself only.
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
  /// Afterwards the handler is not, and will not be, running: a call on another thread is waited for, one further up on
  /// this thread is not.
  void removeCancellationHandler(CancellationHandler& handler) noexcept {
    lock_.lock();
    if (handler.state_ == CancellationHandler::State::added) [[likely]] {
      unlink(handler);
      lock_.unlock();
      return;
    }
    removeCalledHandler(handler);
  }

  /// Has the waiter's task, which is suspended, scheduled at the completion. False if the task is done already. After
  /// true the waiter must not be touched.
  [[nodiscard]] bool addWaiter(CompletionWaiter& waiter) noexcept;

  /// Raises the priority of the task and of what it is waiting for.
  void escalate(TaskPriority priority) noexcept;
  /// Says what this task waits for from now on; it then raises that to its own priority. By the task itself only.
  void setAwaited(AwaitedWork& work) noexcept { awaited_.exchange(&work, std::memory_order_seq_cst); }
  /// The wait is over: afterwards no raise looks at what was awaited.
  void clearAwaited() noexcept {
    awaited_.exchange(nullptr, std::memory_order_seq_cst);
    waitForRaise();
  }

  /// The executor of the task's present isolation; null is the global one.
  [[nodiscard]] Executor* executor() const noexcept { return executor_.load(std::memory_order_relaxed); }
  /// By the task itself only. The executor that it leaves may end afterwards: a raise that still needs it has its own
  /// reference.
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

  /// The task that a job is; null for a job of another kind.
  [[nodiscard]] static TaskRecord* of(Job& job) noexcept;
  /// Ends the task, whose turn it is, without running more of it, once its group children have ended: destroys its
  /// coroutines, and gives the tasks that await it a `CancellationError`. An executor calls it in place of `job.run()`.
  void discard() noexcept;
  /// The executor by which the task goes to a target: its owner's, if that takes its turns from the target.
  [[nodiscard]] Executor* inOwner(Executor* target) const noexcept {
    Executor* const own = isolation_.executor();
    return target != nullptr && own != nullptr && own != target && &own->base() == target ? own : target;
  }
  /// The scope of the innermost group that the task is in. By the task itself only.
  TaskGroupCancellation* groupScope = nullptr;

  /// The innermost task-local binding.
  TaskLocalBinding* bindings = nullptr;

 protected:
  /// Copies the bindings of the current task (or thread) unless told otherwise.
  TaskRecord(TaskPriority priority, Isolation isolation, TaskLocalCopies copies);
  virtual ~TaskRecord();

  /// Makes the outermost coroutine, or does all the work at once: then it returns null.
  virtual std::coroutine_handle<> makeRoot() noexcept = 0;
  /// Takes the result over and destroys the coroutine and the closure.
  virtual void finish() noexcept = 0;
  /// Called last. Lets the tasks go on that wait for this one, and gives up the reference of the running task. A task
  /// that is awaited in another way than by its handle says so there, and is never marked as done.
  virtual void didComplete() noexcept;

 private:
  // In the word, below the newest waiter.
  static constexpr std::uintptr_t cancelledBit = 1;
  static constexpr std::uintptr_t doneBit = 2;
  /// A raise, which holds the lock, uses the task's executor and what the task waits for.
  static constexpr std::uintptr_t raiseBit = 4;
  static constexpr std::uintptr_t wordBits = 7;

  static void runTask(Job& job) noexcept;
  /// Tells the executor of a raised priority, and adds what this task is waiting for to the list.
  void wasRaised(TaskList& awaited) noexcept;
  /// Calls the handlers of this task, which is marked and kept alive meanwhile. Adds the marked tasks to the list whose
  /// handlers are still to be called.
  void callHandlers(TaskList& further) noexcept;
  void leaveExecutorFor(Executor* executor) noexcept;
  /// Waits until a raise that may have seen what this task has just exchanged is over. Either the raise sees the new
  /// pointer, or this thread sees the raise.
  void waitForRaise() noexcept {
    if ((word_.load(std::memory_order_seq_cst) & raiseBit) != 0) [[unlikely]]
      passLock();
  }
  void passLock() noexcept;
  void complete() noexcept;
  /// Schedules the tasks that wait, in the order in which they came.
  static void resumeWaiters(std::uintptr_t word) noexcept;
  /// Whether the task's turn comes again once its group children have ended.
  bool waitForGroupChildren() noexcept;
  void destroy() noexcept { delete this; }
  void unlink(CancellationHandler& handler) noexcept TESSALY_REQUIRES(lock_) {
    (handler.previous_ != nullptr ? handler.previous_->next_ : handlers_) = handler.next_;
    if (handler.next_ != nullptr) handler.next_->previous_ = handler.previous_;
    handler.state_ = CancellationHandler::State::removed;
  }
  void removeCalledHandler(CancellationHandler& handler) noexcept TESSALY_RELEASE(lock_);

  std::atomic<std::uint32_t> references_{1};
  /// The newest of the tasks that wait for the completion, linked to the older ones, and three bits. Awaiting and
  /// completing are one change each.
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
  TaskRecord* task = task_;  // Once the state is set, the awaiter may be gone.
  if (state_.exchange(State::resumed, std::memory_order_acq_rel) == State::suspended) task->schedule();
}

}  // namespace Tessaly::inline v1::detail
