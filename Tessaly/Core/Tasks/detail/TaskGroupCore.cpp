// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Tasks/detail/TaskGroupCore.hpp"

#include <utility>

#include "Tessaly/Core/Base/FatalError.hpp"

// One word connects the children that end with the task that waits. It holds
//
//   0             no child has ended since the last collection, and no task waits
//   link          the ended children, the last one first
//   task | waits  the waiting task; the next child that ends puts itself here instead, and schedules the task
//
// tests/models explores every interleaving. Memory orders: a child's result, and what the waiting task wrote before its
// suspension, pass through release and acquire on the word. The newest child that was added, the level that the
// children were given and the mark of a cancellation are sequentially consistent. A raise or a cancellation changes its
// mark and then searches for children. `start` adds a child and then reads the marks. So at least one side sees the
// other.

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

void TaskGroupCore::start(TaskGroupLink& child) noexcept {
  TaskRecord& record = *child.record;
  TaskPriority lowest = lowestAdded_.load(std::memory_order_relaxed);
  while (record.priority() < lowest &&
         !lowestAdded_.compare_exchange_weak(lowest, record.priority(), std::memory_order_relaxed)) {
  }
  count_.fetch_add(1, std::memory_order_relaxed);
  child.next = added_.load(std::memory_order_relaxed);
  while (!added_.compare_exchange_weak(child.next, &child, std::memory_order_seq_cst)) {
  }
  // A raise or a cancellation that does not find the child is seen here.
  if (const TaskPriority raised = lowest_.load(std::memory_order_seq_cst); record.priority() < raised) {
    record.raisePriority(raised);
  }
  if (isCancelled_.load(std::memory_order_seq_cst)) [[unlikely]]
    record.cancel();
  record.scheduleIn(waiting_);
}

void TaskGroupCore::listAdded() noexcept {
  TaskGroupLink* inOrder = nullptr;
  for (TaskGroupLink* child = added_.exchange(nullptr, std::memory_order_seq_cst); child != nullptr;) {
    TaskGroupLink* const older = std::exchange(child->next, inOrder);
    inOrder = std::exchange(child, older);
  }
  while (inOrder != nullptr) {
    TaskGroupLink* const next = inOrder->next;
    listed_.append(*inOrder);
    inOrder = next;
  }
}

void TaskGroupCore::childEnded(TaskGroupLink& child) noexcept {
  std::uintptr_t word = ended_.load(std::memory_order_relaxed);
  do {
    child.nextEnded = (word & waits) != 0 ? nullptr : reinterpret_cast<TaskGroupLink*>(word);
  } while (!ended_.compare_exchange_weak(word, reinterpret_cast<std::uintptr_t>(&child), std::memory_order_acq_rel,
                                         std::memory_order_relaxed));
  if ((word & waits) != 0) taskOf(word).scheduleAtEndOfJob(&waiting_);
}

void TaskGroupCore::collectEnded() noexcept {
  std::uintptr_t word = ended_.load(std::memory_order_relaxed);
  do {
    stopIfAwaited((word & waits) != 0);
    if (word == 0) return;
  } while (!ended_.compare_exchange_weak(word, 0, std::memory_order_acquire, std::memory_order_relaxed));
  stopIfAwaited(isAwaited_.load(std::memory_order_relaxed));
  TaskGroupLink* inOrder = nullptr;
  std::uint32_t collected = 0;
  for (auto* child = reinterpret_cast<TaskGroupLink*>(word); child != nullptr; ++collected) {
    TaskGroupLink* const older = std::exchange(child->nextEnded, inOrder);
    inOrder = std::exchange(child, older);
  }
  unlist(inOrder, collected);
  ready_.store(inOrder, std::memory_order_relaxed);
  count_.fetch_sub(collected, std::memory_order_release);
}

void TaskGroupCore::unlist(TaskGroupLink* ended, std::uint32_t count) noexcept {
  UnfairLock::Guard guard(lock_);
  // If the group has no other children, the whole list is emptied at once. A child that is added meanwhile changes
  // `added_`, so the exchange fails.
  TaskGroupLink* newest = added_.load(std::memory_order_acquire);
  if (count_.load(std::memory_order_relaxed) == count &&
      added_.compare_exchange_strong(newest, nullptr, std::memory_order_acquire, std::memory_order_relaxed)) {
    listed_ = {};
    return;
  }
  listAdded();
  for (; ended != nullptr; ended = ended->nextEnded) listed_.remove(*ended);
}

bool TaskGroupCore::wait(TaskRecord& task) noexcept {
  task.setAwaited(*this);
  if (const TaskPriority priority = task.priority(); raiseLowest(priority)) [[unlikely]] {
    TaskList lower;
    findBelow(priority, lower);
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
    isCancelled_.store(true, std::memory_order_seq_cst);
    listAdded();
    for (auto* child = listed_.first(); child != nullptr; child = child->next) {
      children.push_back(Retained<TaskRecord>::sharing(*child->record));
    }
  }
  for (const auto& child : children) child->cancel();
}

void TaskGroupCore::markCancelled(TaskList& cancelled) noexcept {
  UnfairLock::Guard guard(lock_);
  isCancelled_.store(true, std::memory_order_seq_cst);
  listAdded();
  for (auto* child = listed_.last(); child != nullptr; child = child->previous) {
    if (child->record->markCancelled()) cancelled.push_back(Retained<TaskRecord>::sharing(*child->record));
  }
}

bool TaskGroupCore::raiseLowest(TaskPriority priority) noexcept {
  TaskPriority lowest = lowest_.load(std::memory_order_relaxed);
  do {
    if (priority <= lowest) return false;
  } while (!lowest_.compare_exchange_weak(lowest, priority, std::memory_order_seq_cst, std::memory_order_relaxed));
  // A child that is not seen here sees the raised level. All other children have recorded their priority in
  // `lowestAdded_` before.
  static_cast<void>(added_.load(std::memory_order_seq_cst));
  return lowestAdded_.load(std::memory_order_relaxed) < priority;
}

void TaskGroupCore::collectBelow(TaskPriority priority, TaskList& children) noexcept {
  if (raiseLowest(priority)) findBelow(priority, children);
}

void TaskGroupCore::findBelow(TaskPriority priority, TaskList& children) noexcept {
  UnfairLock::Guard guard(lock_);
  listAdded();
  for (auto* child = listed_.first(); child != nullptr; child = child->next) {
    if (child->record->priority() < priority) children.push_back(Retained<TaskRecord>::sharing(*child->record));
  }
}

}  // namespace Tessaly::inline v1::detail
