// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Tasks/detail/TaskGroupCore.hpp"

#include <utility>

#include "Tessaly/Core/Base/FatalError.hpp"

// One word connects the children that end with the task that waits. It holds
//
//   0             no child has ended since the last look, and no task waits
//   link          the ended children, the last one first
//   task | waits  the waiting task; the next child that ends puts itself here instead, and schedules the task
//
// tests/models explores every interleaving. Memory orders: a child's result, and what the waiting task wrote before its
// suspension, pass through release and acquire on the word. The list of the children and their level
// are under the lock, so an added child is either in the list of a raise or sees the raised level.

namespace Tessaly::inline v1::detail {
namespace {

constexpr std::uintptr_t waits = 1;
static_assert(alignof(TaskGroupLink) > waits && alignof(TaskRecord) > waits);

std::uintptr_t wordOf(TaskRecord& task) { return reinterpret_cast<std::uintptr_t>(&task) | waits; }
TaskRecord& taskOf(std::uintptr_t word) { return *reinterpret_cast<TaskRecord*>(word & ~waits); }

void stopIfAwaited(bool isAwaited) {
  if (isAwaited) fatalError("Two tasks wait for one task group", "Tessaly/TaskGroup", __LINE__);
}

}  // namespace

TaskGroupCore::~TaskGroupCore() { releaseEnded(); }

void TaskGroupCore::releaseEnded() noexcept {
  while (TaskRecord* child = takeEnded()) child->release();
}

void TaskGroupCore::remove(TaskGroupLink& child) noexcept {
  (child.previous != nullptr ? child.previous->next : first_) = child.next;
  (child.next != nullptr ? child.next->previous : last_) = child.previous;
}

void TaskGroupCore::start(TaskGroupLink& child) noexcept {
  bool isCancelled = false;
  TaskPriority lowest{};
  {
    UnfairLock::Guard guard(lock_);
    child.previous = last_;
    (last_ != nullptr ? last_->next : first_) = &child;
    last_ = &child;
    count_.store(count_.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    isCancelled = isCancelled_.load(std::memory_order_relaxed);
    lowest = lowest_.load(std::memory_order_relaxed);
  }
  child.record->raisePriority(lowest);
  if (isCancelled) child.record->cancel();
  child.record->schedule();
}

void TaskGroupCore::childEnded(TaskGroupLink& child) noexcept {
  std::uintptr_t word = ended_.load(std::memory_order_relaxed);
  do {
    child.nextEnded = (word & waits) != 0 ? nullptr : reinterpret_cast<TaskGroupLink*>(word);
  } while (!ended_.compare_exchange_weak(word, reinterpret_cast<std::uintptr_t>(&child), std::memory_order_acq_rel,
                                         std::memory_order_relaxed));
  if ((word & waits) != 0) taskOf(word).scheduleAtEndOfJob();
}

void TaskGroupCore::collectEnded() noexcept {
  std::uintptr_t word = ended_.load(std::memory_order_relaxed);
  do {
    stopIfAwaited((word & waits) != 0);
    if (word == 0) return;
  } while (!ended_.compare_exchange_weak(word, 0, std::memory_order_acquire, std::memory_order_relaxed));
  stopIfAwaited(isAwaited_.load(std::memory_order_relaxed));
  UnfairLock::Guard guard(lock_);
  TaskGroupLink* inOrder = nullptr;
  std::uint32_t collected = 0;
  for (auto* child = reinterpret_cast<TaskGroupLink*>(word); child != nullptr; ++collected) {
    remove(*child);
    TaskGroupLink* const older = std::exchange(child->nextEnded, inOrder);
    inOrder = std::exchange(child, older);
  }
  ready_.store(inOrder, std::memory_order_relaxed);
  count_.store(count_.load(std::memory_order_relaxed) - collected, std::memory_order_release);
}

bool TaskGroupCore::wait(TaskRecord& task) noexcept {
  task.setAwaited(*this);
  if (const TaskPriority priority = task.priority(); lowest_.load(std::memory_order_relaxed) < priority) {
    TaskList lower;
    collectBelow(priority, lower);
    for (const auto& child : lower) child->escalate(priority);
  }
  isAwaited_.store(true, std::memory_order_relaxed);
  return publishWait(task);
}

bool TaskGroupCore::publishWait(TaskRecord& task) noexcept {
  std::uintptr_t word = 0;
  if (ended_.compare_exchange_strong(word, wordOf(task), std::memory_order_release, std::memory_order_relaxed)) {
    return true;
  }
  stopIfAwaited((word & waits) != 0);
  return false;
}

void TaskGroupCore::endWait(TaskRecord& task) noexcept {
  task.clearAwaited();
  isAwaited_.store(false, std::memory_order_relaxed);
}

bool TaskGroupCore::waitForChildren() noexcept {
  isAwaited_.store(false, std::memory_order_relaxed);  // A call of `next()` that waits here will not continue.
  do {
    releaseEnded();
    if (isEmpty()) return false;
  } while (!publishWait(*threadState.task));
  return true;
}

void TaskGroupCore::cancelAll() noexcept {
  TaskList children;
  {
    UnfairLock::Guard guard(lock_);
    isCancelled_.store(true, std::memory_order_release);
    for (auto* child = first_; child != nullptr; child = child->next) {
      children.push_back(Retained<TaskRecord>::sharing(*child->record));
    }
  }
  for (const auto& child : children) child->cancel();
}

void TaskGroupCore::markCancelled(TaskList& cancelled) noexcept {
  UnfairLock::Guard guard(lock_);
  isCancelled_.store(true, std::memory_order_release);
  for (auto* child = last_; child != nullptr; child = child->previous) {
    if (child->record->markCancelled()) cancelled.push_back(Retained<TaskRecord>::sharing(*child->record));
  }
}

void TaskGroupCore::collectBelow(TaskPriority priority, TaskList& children) noexcept {
  UnfairLock::Guard guard(lock_);
  if (priority <= lowest_.load(std::memory_order_relaxed)) return;
  lowest_.store(priority, std::memory_order_relaxed);
  for (auto* child = first_; child != nullptr; child = child->next) {
    if (child->record->priority() < priority) children.push_back(Retained<TaskRecord>::sharing(*child->record));
  }
}

}  // namespace Tessaly::inline v1::detail
