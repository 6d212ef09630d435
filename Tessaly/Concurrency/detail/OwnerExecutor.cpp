// SPDX-License-Identifier: MIT
#include "Tessaly/Concurrency/detail/OwnerExecutor.hpp"

#include <algorithm>
#include <utility>

#include "Tessaly/Core/Base/FatalError.hpp"
#include "Tessaly/Core/Tasks/detail/TaskRecord.hpp"
#include "Tessaly/Core/Tasks/detail/ThreadState.hpp"

namespace Tessaly::inline v1::detail {
namespace {

Isolation baseOf(const Isolation& isolation) {
  if (isolation.executor() == nullptr) {
    fatalError(
        "OwnedTasks needs an isolation, such as Isolation::main(): without one its tasks would run beside their "
        "owner's destructor",
        "Tessaly/OwnedTasks", __LINE__);
  }
  return Isolation(isolation.executor()->base());
}

void discard(Job& job) noexcept {
  if (TaskRecord* task = TaskRecord::of(job)) {
    task->discard();
  } else {
    job.run();  // The host made this job. It contains no code of the owner's tasks.
  }
}

}  // namespace

OwnerExecutor::Turn::Turn(OwnerExecutor& executor) noexcept
    : Job([](Job& job) noexcept { static_cast<Turn&>(job).owner.takeTurn(); }), owner(executor) {}

OwnerExecutor::OwnerExecutor(const Isolation& isolation) : isolation_(baseOf(isolation)), turn_(*this) {}

void OwnerExecutor::release() noexcept {
  if (references_.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
}

void OwnerExecutor::enqueue(Job& job) noexcept {
  bool mustBeQueued = false;
  {
    UnfairLock::Guard guard(lock_);
    // Read under the lock: a raise takes the lock in `escalate` either earlier, so that it is read here, or later, when
    // it finds the turn queued.
    const TaskPriority priority = job.priority();
    jobs_.append(job);
    mustBeQueued = !std::exchange(isQueued_, true);
    if (mustBeQueued) {
      turn_.startAt(priority);
    } else if (!turn_.raisePriority(priority)) {
      return;
    }
    // The reference is for the turn or for the call of `escalate` below, because the job may end on another thread as
    // soon as the lock is released.
    retain();
  }
  if (mustBeQueued) {
    base().enqueue(turn_);
  } else {
    base().escalate(turn_);
    release();
  }
}

void OwnerExecutor::escalate(Job& job) noexcept {
  {
    UnfairLock::Guard guard(lock_);
    if (!isQueued_ || !turn_.raisePriority(job.priority())) return;
  }
  base().escalate(turn_);
}

TaskPriority OwnerExecutor::highestWaiting() const noexcept {
  TaskPriority highest{};
  for (const Job* job = jobs_.first(); job != nullptr && highest < turn_.priority(); job = job->next) {
    highest = std::max(highest, job->priority());
  }
  return highest;
}

bool OwnerExecutor::isCurrent() const noexcept {
  const Isolation current = Isolation::current();
  return current.executor() != nullptr && &current.executor()->base() == isolation_.executor();
}

void OwnerExecutor::close() noexcept {
  UnfairLock::Guard guard(lock_);
  isClosed_ = true;
}

bool OwnerExecutor::isClosed() noexcept {
  UnfairLock::Guard guard(lock_);
  return isClosed_;
}

void OwnerExecutor::discardQueued() noexcept {
  for (;;) {
    Job* job = nullptr;
    {
      UnfairLock::Guard guard(lock_);
      job = jobs_.popFirst();
    }
    if (job == nullptr) return;
    discard(*job);
  }
}

// The next turn is queued before the job runs. The job may leave the isolation while it runs, and the next turn then
// need not wait for the job's end.
void OwnerExecutor::takeTurn() noexcept {
  Job* job = nullptr;
  bool isQueued = false;
  bool isDiscarded = false;
  {
    UnfairLock::Guard guard(lock_);
    job = jobs_.popFirst();
    isQueued = isQueued_ = !jobs_.isEmpty();
    if (isQueued) turn_.startAt(highestWaiting());
    isDiscarded = isClosed_;
  }
  if (isQueued) {
    retain();
    base().enqueue(turn_);
  }
  if (job != nullptr) isDiscarded ? discard(*job) : job->run();
  release();
}

}  // namespace Tessaly::inline v1::detail
