// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Tasks/detail/TaskRecord.hpp"

#include <cstdint>
#include <exception>
#include <utility>

#include "Tessaly/Core/Base/Error.hpp"
#include "Tessaly/Core/Base/Retained.hpp"
#include "Tessaly/Core/Base/detail/ForkGuard.hpp"
#include "Tessaly/Core/Base/detail/Futex.hpp"
#include "Tessaly/Core/Tasks/detail/JobScope.hpp"
#include "Tessaly/Core/Tasks/detail/TaskGroupCore.hpp"
#include "Tessaly/Core/Tasks/detail/TaskState.hpp"

namespace Tessaly::inline v1::detail {

std::exception_ptr cancelledOutcome() noexcept { return std::make_exception_ptr(CancellationError()); }

void CompletionAwaiter::collectBelow(TaskPriority priority, TaskList& tasks) noexcept {
  if (task_.priority() < priority) tasks.push_back(Retained<TaskRecord>::sharing(task_));
}

TaskRecord::TaskRecord(TaskPriority priority, Isolation isolation, TaskLocalCopies copies)
    : Job(&runTask, priority), executor_(isolation.executor()), isolation_(std::move(isolation)) {
  if (copies == TaskLocalCopies::none) return;
  if (const auto* const list = TaskLocalBinding::list()) bindings = TaskLocalBinding::copyInnermost(list);
}

TaskRecord::~TaskRecord() {
  if (bindings != nullptr) TaskLocalBinding::destroyCopies(bindings);
}

void TaskRecord::runTask(Job& job) noexcept {
  auto& record = static_cast<TaskRecord&>(job);
  ThreadState& state = threadState;
  state.task = &record;
  if (record.resumePoint_ == nullptr) [[unlikely]]
    record.resumePoint_ = record.makeRoot();
  if (record.resumePoint_ != nullptr) [[likely]] {
    record.resumePoint_.resume();
  } else {
    state.completed = &record;
  }
  // If the task's outermost coroutine has not ended, the record may be running elsewhere, or be gone. The task is not
  // current while it completes, because destructors of the host's values run then.
  state.task = nullptr;
  if (TaskRecord* completed = std::exchange(state.completed, nullptr); completed != nullptr) completed->complete();
}

TaskRecord* TaskRecord::of(Job& job) noexcept {
  return job.function_ == &runTask ? static_cast<TaskRecord*>(&job) : nullptr;
}

void TaskRecord::discard() noexcept {
  const JobScope scope(threadState.executor);
  threadState.task = this;
  clearAwaited();
  // The children may wait for an action of this task.
  for (auto* scope = groupScope; scope != nullptr; scope = scope->outer()) scope->cancelChildren();
  if (waitForGroupChildren()) return;
  setExecutor(isolation_.executor());  // The present executor may end with the task's coroutines.
  complete();
}

bool TaskRecord::waitForGroupChildren() noexcept {
  for (auto* scope = groupScope; scope != nullptr; scope = scope->outer()) {
    if (scope->waitForChildren()) return true;
  }
  return false;
}

void TaskRecord::complete() noexcept {
  finish();
  if (bindings != nullptr) TaskLocalBinding::destroyCopies(std::exchange(bindings, nullptr));
  didComplete();
}

void TaskRecord::didComplete() noexcept {
  // Releases the result to the readers of the bit, and acquires the waiters' writes.
  resumeWaiters(word_.fetch_add(doneBit, std::memory_order_acq_rel));
  release();
}

void TaskRecord::resumeWaiters(std::uintptr_t word) noexcept {
  CompletionWaiter* inOrder = nullptr;
  for (auto* waiter = reinterpret_cast<CompletionWaiter*>(word & ~wordBits); waiter != nullptr;) {
    CompletionWaiter* const older = std::exchange(waiter->next, inOrder);
    inOrder = std::exchange(waiter, older);
  }
  while (inOrder != nullptr) {
    // A waiter whose task is scheduled may be gone.
    TaskRecord& task = *inOrder->task;
    inOrder = inOrder->next;
    // Only the last task may be traded, because no other task may be after a traded task.
    inOrder != nullptr ? task.schedule() : task.scheduleAtEndOfJob();
  }
}

/// The calls of `cancel` that are nested on this thread's stack: a handler may cancel a further task, whose handler may
/// do the same. Beyond the limit the outermost call handles the tasks, so a chain of any length fits on the stack.
struct CancellationNest {
  static constexpr int deepest = 64;
  TaskList further;
  int depth = 0;
};

void TaskRecord::cancel() noexcept {
  if (isForkedChild() || !markCancelled()) return;
  CancellationNest own;
  CancellationNest*& nest = threadState.cancellations;
  const bool isOutermost = nest == nullptr;
  if (isOutermost) nest = &own;
  if (nest->depth == CancellationNest::deepest) {
    nest->further.push_back(Retained<TaskRecord>::sharing(*this));
    return;
  }
  ++nest->depth;
  own.further.push_back(Retained<TaskRecord>::sharing(*this));
  while (!own.further.empty()) {
    const auto task = std::move(own.further.back());
    own.further.pop_back();
    task->callHandlers(own.further);
  }
  --nest->depth;
  if (isOutermost) nest = nullptr;
}

bool TaskRecord::markCancelled() noexcept {
  std::uintptr_t word = word_.load(std::memory_order_relaxed);
  do {
    if ((word & (cancelledBit | doneBit)) != 0) return false;
  } while (!word_.compare_exchange_weak(word, word | cancelledBit, std::memory_order_acq_rel));
  return true;
}

void TaskRecord::callHandlers(TaskList& further) noexcept {
  lock_.lock();
  while (CancellationHandler* handler = handlers_) {
    unlink(*handler);
    bool isGone = false;
    handler->state_ = CancellationHandler::State::running;
    handler->runningThread_ = currentThreadIdentifier();
    handler->isGone_ = &isGone;
    lock_.unlock();
    handler->function_(*handler, further);
    lock_.lock();
    if (!isGone) handler->state_ = CancellationHandler::State::removed;
    calledHandlers_.fetch_add(1, std::memory_order_release);
    futexWake(calledHandlers_, INT32_MAX);
  }
  lock_.unlock();
}

void TaskRecord::removeCalledHandler(CancellationHandler& handler) noexcept {
  while (handler.state_ == CancellationHandler::State::running) {
    if (handler.runningThread_ == currentThreadIdentifier()) {
      *handler.isGone_ = true;
      break;
    }
    const std::uint32_t called = calledHandlers_.load(std::memory_order_acquire);
    lock_.unlock();
    futexWait(calledHandlers_, called);
    lock_.lock();
  }
  lock_.unlock();
}

bool TaskRecord::addWaiter(CompletionWaiter& waiter) noexcept {
  static_assert(alignof(CompletionWaiter) > wordBits);
  std::uintptr_t word = word_.load(std::memory_order_acquire);
  do {
    if ((word & doneBit) != 0) return false;
    waiter.next = reinterpret_cast<CompletionWaiter*>(word & ~wordBits);
    // Releases the waiter to the completion. If the task is done instead, acquires its result.
  } while (!word_.compare_exchange_weak(word, reinterpret_cast<std::uintptr_t>(&waiter) | (word & wordBits),
                                        std::memory_order_release, std::memory_order_acquire));
  return true;
}

void TaskRecord::escalate(TaskPriority priority) noexcept {
  // A task that begins to wait raises the awaited tasks to its own priority. So a task of this priority needs no visit.
  if (!raisePriority(priority)) return;
  // A list replaces the recursion, because tasks may wait for one another in a chain of any length.
  TaskList awaited;
  wasRaised(awaited);
  while (!awaited.empty()) {
    const auto task = std::move(awaited.back());
    awaited.pop_back();
    if (task->raisePriority(priority)) task->wasRaised(awaited);
  }
}

void TaskRecord::wasRaised(TaskList& awaited) noexcept {
  Isolation isolation;
  {
    // While the bit is set, the task leaves its executor or its wait only after the lock is released.
    UnfairLock::Guard guard(lock_);
    word_.fetch_or(raiseBit, std::memory_order_seq_cst);
    if (Executor* executor = executor_.load(std::memory_order_seq_cst)) isolation = Isolation(*executor);
    // A task that begins to wait stores `awaited_` and then reads its priority. The raise has stored the priority
    // before.
    if (AwaitedWork* work = awaited_.load(std::memory_order_seq_cst)) work->collectBelow(priority(), awaited);
    word_.fetch_and(~raiseBit, std::memory_order_release);
  }
  Executor* executor = isolation.executor();
  (executor != nullptr ? *executor : GlobalExecutor::shared()).escalate(*this);
}

void TaskRecord::leaveExecutorFor(Executor* executor) noexcept {
  executor_.exchange(executor, std::memory_order_seq_cst);
  waitForRaise();
}

void TaskRecord::passLock() noexcept {
  lock_.lock();
  lock_.unlock();
}

}  // namespace Tessaly::inline v1::detail
