// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Tasks/detail/TaskRecord.hpp"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <utility>

#include "Tessaly/Core/Base/Futex.hpp"
#include "Tessaly/Core/Tasks/detail/TaskGroupCore.hpp"
#include "Tessaly/Core/Tasks/detail/TaskReference.hpp"

namespace Tessaly::inline v1::detail {

TaskRecord::TaskRecord(TaskPriority priority, Isolation isolation, TaskLocalCopies copies)
    : Job(&runTask, priority), executor_(isolation.executor()), isolation_(std::move(isolation)) {
  if (copies == TaskLocalCopies::ofTheCaller) bindings = TaskLocalBinding::copyInnermost(TaskLocalBinding::list());
}

TaskRecord::~TaskRecord() { TaskLocalBinding::destroyCopies(bindings); }

void TaskRecord::runTask(Job& job) noexcept {
  auto& record = static_cast<TaskRecord&>(job);
  ThreadState& state = threadState;
  TaskRecord* const outer = state.task;
  state.task = &record;
  if (record.resumePoint_ == nullptr) [[unlikely]] {
    record.resumePoint_ = record.makeRoot();
    if (record.resumePoint_ == nullptr) {
      record.complete();
      state.task = outer;
      return;
    }
  }
  record.resumePoint_.resume();
  // Unless its outermost coroutine has ended, the record may be running elsewhere, or be gone.
  state.task = outer;
  if (TaskRecord* completed = state.completed; completed != nullptr) {
    state.completed = nullptr;
    completed->complete();
  }
}

void TaskRecord::complete() noexcept {
  finish();
  TaskLocalBinding::destroyCopies(bindings);
  bindings = nullptr;
  CompletionWaiter* waiter = nullptr;
  {
    UnfairLock::Guard guard(lock_);
    status_.fetch_or(doneBit, std::memory_order_release);
    waiter = firstWaiter_;
    firstWaiter_ = lastWaiter_ = nullptr;
  }
  while (waiter != nullptr) {
    CompletionWaiter* next = waiter->next;
    waiter->suspension.resume();
    waiter = next;
  }
  didComplete();
  release();
}

void TaskRecord::cancel() noexcept {
  const auto self = TaskReference<TaskRecord>::sharing(*this);
  TaskList further;
  cancelAndCollect(further);
  while (!further.empty()) {
    const auto task = std::move(further.back());
    further.pop_back();
    task->cancelAndCollect(further);
  }
}

void TaskRecord::cancelAndCollect(TaskList& further) noexcept {
  std::uint32_t status = status_.load(std::memory_order_relaxed);
  do {
    if ((status & (cancelledBit | doneBit)) != 0) return;
  } while (!status_.compare_exchange_weak(status, status | cancelledBit, std::memory_order_acq_rel));

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
  UnfairLock::Guard guard(lock_);
  if (isDone()) return false;
  (lastWaiter_ != nullptr ? lastWaiter_->next : firstWaiter_) = &waiter;
  lastWaiter_ = &waiter;
  return true;
}

void TaskRecord::escalate(TaskPriority priority) noexcept {
  // If it is as high already, so is what it waits for: whoever begins to wait raises what it waits for to its own.
  if (!raisePriority(priority)) return;
  // A list, not a recursion: tasks may wait for one another in a chain of any length.
  TaskList awaited;
  wasRaised(awaited);
  while (!awaited.empty()) {
    const auto task = std::move(awaited.back());
    awaited.pop_back();
    if (task->raisePriority(priority)) task->wasRaised(awaited);
  }
}

void TaskRecord::wasRaised(TaskList& awaited) noexcept {
  escalateOnExecutor(executor_, *this);
  // While the lock is held the task cannot leave its wait, so what it waits for stays.
  UnfairLock::Guard guard(lock_);
  if (awaitedTask_ != nullptr) awaited.push_back(TaskReference<TaskRecord>::sharing(*awaitedTask_));
  if (awaitedGroup_ != nullptr) std::ranges::move(awaitedGroup_->runningChildren(), std::back_inserter(awaited));
}

void TaskRecord::setAwaited(TaskRecord* task, TaskGroupCore* group) noexcept {
  UnfairLock::Guard guard(lock_);
  awaitedTask_ = task;
  awaitedGroup_ = group;
}

}  // namespace Tessaly::inline v1::detail
