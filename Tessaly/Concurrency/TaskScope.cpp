// SPDX-License-Identifier: MIT
#include "Tessaly/Concurrency/TaskScope.hpp"

#include <atomic>

#include "Tessaly/Core/Base/FatalError.hpp"
#include "Tessaly/Core/Tasks/SyncWait.hpp"

namespace Tessaly::inline v1 {
namespace {

constinit std::atomic<std::uint64_t> scopesMade{0};

Async<void> endOf(std::vector<Task<>> tasks) {
  for (const Task<>& task : tasks) co_await task.finished();
}

}  // namespace

constinit const TaskLocal<std::uint64_t> detail::taskScope(0);

TaskScope::TaskScope() noexcept : identifier_(scopesMade.fetch_add(1, std::memory_order_relaxed) + 1) {}

TaskScope::~TaskScope() {
  isEnding_ = true;
  cancel();
  do {
    wait();
    // The destructor of a task's error may add a task, too.
    for (const Task<>& task : detail::takeFinished(tasks_)) detail::reportUnreadError(task);
  } while (!tasks_.empty());
}

Task<> TaskScope::start(Retained<detail::TaskState<void>> state) {
  const Task<> task = tasks_.emplace_back(detail::TaskAccess::start(std::move(state)));
  if (isEnding_) task.cancel();
  return task;
}

void TaskScope::cancel() const {
  // A cancellation handler may add tasks to the scope, or destroy the scope.
  const std::vector<Task<>> tasks = tasks_;
  for (const Task<>& task : tasks) task.cancel();
}

void TaskScope::wait() const {
  if (detail::taskScope.value() == identifier_) {
    fatalError("A task of a TaskScope waited for its own scope, which would deadlock", "Tessaly/TaskScope", __LINE__);
  }
  syncWait(endOf(tasks_));
}

}  // namespace Tessaly::inline v1
