// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Tasks/detail/TaskGroupCore.hpp"

#include <algorithm>
#include <iterator>
#include <ranges>
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

void TaskGroupCore::add(TaskGroupLink& child) noexcept {
  bool isCancelled = false;
  {
    UnfairLock::Guard guard(lock_);
    running_.append(child);
    isCancelled = isCancelled_;
  }
  if (isCancelled) child.record->cancel();
}

void TaskGroupCore::childCompleted(TaskGroupLink& child) noexcept {
  Suspension* waiting = nullptr;
  {
    UnfairLock::Guard guard(lock_);
    running_.remove(child);
    ended_.append(child);
    waiting = std::exchange(waiting_, nullptr);
  }
  if (waiting != nullptr) waiting->resume();
}

void TaskGroupCore::cancelAll() noexcept {
  TaskList cancelled;
  cancelLater(cancelled);
  for (const auto& child : cancelled | std::views::reverse) child->cancel();
}

void TaskGroupCore::cancelLater(TaskList& cancelled) noexcept {
  {
    UnfairLock::Guard guard(lock_);
    isCancelled_ = true;
  }
  std::ranges::move(runningChildren() | std::views::reverse, std::back_inserter(cancelled));
}

bool TaskGroupCore::isCancelled() noexcept {
  UnfairLock::Guard guard(lock_);
  return isCancelled_;
}

bool TaskGroupCore::isEmpty() noexcept {
  UnfairLock::Guard guard(lock_);
  return running_.first == nullptr && ended_.first == nullptr;
}

TaskList TaskGroupCore::runningChildren() {
  TaskList children;
  UnfairLock::Guard guard(lock_);
  for (auto* link = running_.first; link != nullptr; link = link->next) {
    children.push_back(TaskReference<TaskRecord>::sharing(*link->record));
  }
  return children;
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
  for (const auto& child : group_.runningChildren()) {
    if (child->priority() < task.priority()) child->escalate(task.priority());
  }
  {
    UnfairLock::Guard guard(group_.lock_);
    if (group_.takeOrKnowEmpty(child_)) return false;
    if (group_.waiting_ != nullptr) fatalError("Two tasks wait for one task group", "Tessaly/TaskGroup", __LINE__);
    group_.waiting_ = &suspension_;
  }
  return suspension_.commit();
}

TaskReference<TaskRecord> TaskGroupCore::NextAwaiter::await_resume() noexcept {
  if (waits_) {
    suspension_.task().setAwaited(nullptr, nullptr);
    if (child_ == nullptr) {
      UnfairLock::Guard guard(group_.lock_);
      group_.takeOrKnowEmpty(child_);
    }
  }
  return TaskReference<TaskRecord>::adopt(child_);
}

}  // namespace Tessaly::inline v1::detail
