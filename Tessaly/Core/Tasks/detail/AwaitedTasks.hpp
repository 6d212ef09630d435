// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstddef>
#include <utility>

#include "Tessaly/Core/Base/Retained.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"
#include "Tessaly/Core/Tasks/detail/TaskRecord.hpp"

namespace Tessaly::inline v1::detail {

/// For the duration of a scope, declares that the current task waits for other tasks. A task that waits through a
/// continuation should make an `AwaitedTasks` before the wait and keep it until the wait has ended. Then the priority
/// of the waiting task reaches the tasks that will resume it. The scope must contain no other wait for tasks: such a
/// wait would end the declaration.
///
/// Thread contract: thread-compatible; lives in a coroutine of the waiting task.
///
///     const AwaitedTasks awaited(std::array{first, second});
///     co_await withCheckedContinuation<>([&](CheckedContinuation<> continuation) { start(continuation); });
template <typename T, std::size_t count>
class AwaitedTasks final : public AwaitedWork {
 public:
  explicit AwaitedTasks(std::array<Task<T>, count> tasks) : waiting_(*threadState.task), tasks_(std::move(tasks)) {
    waiting_.setAwaited(*this);
    for (const auto& task : tasks_) TaskAccess::record(task).escalate(waiting_.priority());
  }
  AwaitedTasks(const AwaitedTasks&) = delete;
  AwaitedTasks& operator=(const AwaitedTasks&) = delete;
  ~AwaitedTasks() { waiting_.clearAwaited(); }

 private:
  void collectBelow(TaskPriority priority, TaskList& tasks) noexcept override {
    for (const auto& task : tasks_) {
      TaskRecord& record = TaskAccess::record(task);
      if (record.priority() < priority) tasks.push_back(Retained<TaskRecord>::sharing(record));
    }
  }

  TaskRecord& waiting_;
  const std::array<Task<T>, count> tasks_;
};

}  // namespace Tessaly::inline v1::detail
