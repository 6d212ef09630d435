// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Tasks/detail/TaskGroupCore.hpp"

#include <utility>

#include "Tessaly/Core/Base/FatalError.hpp"

namespace Tessaly::inline v1::detail {

void TaskGroupCore::List::append(TaskGroupLink& link) noexcept {
  link.next = nullptr;
  link.previous = last;
  (last != nullptr ? last->next : first) = &link;
  last = &link;
}

void TaskGroupCore::List::remove(TaskGroupLink& link) noexcept {
  (link.previous != nullptr ? link.previous->next : first) = link.next;
  (link.next != nullptr ? link.next->previous : last) = link.previous;
}

TaskGroupCore::~TaskGroupCore() {
  while (TaskGroupLink* link = ended_.first) {
    ended_.remove(*link);
    link->record->release();
  }
}

bool TaskGroupCore::waitForChildren(Suspension& suspension) noexcept {
  UnfairLock::Guard guard(lock_);
  if (running_.first == nullptr) return false;
  waitsForAll_ = true;
  waiting_ = &suspension;
  return true;
}

void TaskGroupCore::add(TaskGroupLink& child) noexcept {
  bool isCancelled = false;
  TaskPriority lowest{};
  {
    UnfairLock::Guard guard(lock_);
    running_.append(child);
    isCancelled = isCancelled_;
    lowest = lowest_;
  }
  child.record->raisePriority(lowest);
  if (isCancelled) child.record->cancel();
}

void TaskGroupCore::childCompleted(TaskGroupLink& child) noexcept {
  Suspension* waiting = nullptr;
  {
    UnfairLock::Guard guard(lock_);
    running_.remove(child);
    ended_.append(child);
    if (!waitsForAll_ || running_.first == nullptr) waiting = std::exchange(waiting_, nullptr);
  }
  if (waiting != nullptr) waiting->resume();
}

void TaskGroupCore::cancelAll() noexcept {
  TaskList children;
  {
    UnfairLock::Guard guard(lock_);
    isCancelled_ = true;
    for (auto* link = running_.first; link != nullptr; link = link->next) {
      children.push_back(Retained<TaskRecord>::sharing(*link->record));
    }
  }
  for (const auto& child : children) child->cancel();
}

void TaskGroupCore::markCancelled(TaskList& cancelled) noexcept {
  UnfairLock::Guard guard(lock_);
  isCancelled_ = true;
  for (auto* link = running_.last; link != nullptr; link = link->previous) {
    if (link->record->markCancelled()) cancelled.push_back(Retained<TaskRecord>::sharing(*link->record));
  }
}

bool TaskGroupCore::isCancelled() noexcept {
  UnfairLock::Guard guard(lock_);
  return isCancelled_;
}

bool TaskGroupCore::isEmpty() noexcept {
  UnfairLock::Guard guard(lock_);
  return running_.first == nullptr && ended_.first == nullptr;
}

void TaskGroupCore::collectBelow(TaskPriority priority, TaskList& children) noexcept {
  UnfairLock::Guard guard(lock_);
  if (priority <= lowest_) return;
  lowest_ = priority;
  for (auto* link = running_.first; link != nullptr; link = link->next) {
    if (link->record->priority() < priority) children.push_back(Retained<TaskRecord>::sharing(*link->record));
  }
}

void TaskGroupCore::stopIfAwaited() const noexcept {
  if (isAwaited_) fatalError("Two tasks wait for one task group", "Tessaly/TaskGroup", __LINE__);
}

bool TaskGroupCore::takeOrKnowEmpty(TaskRecord*& child) noexcept {
  if (TaskGroupLink* link = ended_.first; link != nullptr) {
    ended_.remove(*link);
    child = link->record;
    return true;
  }
  return running_.first == nullptr;
}

bool TaskGroupCore::NextAwaiter::wait() noexcept {
  TaskRecord& task = suspension_.task();
  task.setAwaited(nullptr, &group_);
  waits_ = true;
  TaskList lower;
  group_.collectBelow(task.priority(), lower);
  for (const auto& child : lower) child->escalate(task.priority());
  {
    UnfairLock::Guard guard(group_.lock_);
    group_.stopIfAwaited();
    if (group_.takeOrKnowEmpty(child_)) return false;
    group_.waiting_ = &suspension_;
    group_.isAwaited_ = true;
  }
  return suspension_.commit();
}

Retained<TaskRecord> TaskGroupCore::NextAwaiter::await_resume() noexcept {
  if (waits_) {
    suspension_.task().setAwaited(nullptr, nullptr);
    if (child_ == nullptr) {
      UnfairLock::Guard guard(group_.lock_);
      group_.isAwaited_ = false;
      group_.takeOrKnowEmpty(child_);
    }
  }
  return Retained<TaskRecord>::adopt(child_);
}

}  // namespace Tessaly::inline v1::detail
