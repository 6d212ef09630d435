// SPDX-License-Identifier: MIT
#include "Tessaly/Concurrency/OwnedTasks.hpp"

#include "Tessaly/Concurrency/detail/OwnerExecutor.hpp"
#include "Tessaly/Core/Base/FatalError.hpp"
#include "Tessaly/Core/Base/Retained.hpp"

namespace Tessaly::inline v1 {
namespace {

// Calls cancellation handlers and the destructors of the tasks' variables. They may destroy the `OwnedTasks`, end it or
// add tasks to it. So this function uses only its parameters. The executor closes first, because a handler may serve
// the queue of the isolation.
void endTasks(detail::OwnerExecutor& executor, const std::vector<Task<>>& tasks) noexcept {
  executor.close();
  for (const Task<>& task : tasks) task.cancel();
  executor.discardQueued();
}

}  // namespace

OwnedTasks::OwnedTasks(const Isolation& isolation) : executor_(new detail::OwnerExecutor(isolation)) {}

// The closed executor stays in its place, so that it also discards the tasks that are added meanwhile.
OwnedTasks::~OwnedTasks() {
  static_cast<void>(isolation());
  endTasks(*executor_, std::exchange(tasks_, {}));
  executor_->release();
}

void OwnedTasks::end() {
  const Isolation current = isolation();
  if (executor_->isClosed()) return;  // The destructor is ending the tasks.
  const auto ended =
      Retained<detail::OwnerExecutor>::adopt(std::exchange(executor_, new detail::OwnerExecutor(current)));
  endTasks(*ended, std::exchange(tasks_, {}));
}

Task<> OwnedTasks::start(TaskPriority priority, Make make, void* given) {
  Isolation current = isolation();
  const auto finished = detail::makeRoomForTask(tasks_);
  auto task = Retained<detail::TaskState<void>>::adopt(make(given, priority, std::move(current)));
  return tasks_.emplace_back(detail::TaskAccess::start(std::move(task)));
}

Isolation OwnedTasks::isolation() const {
  if (!executor_->isCurrent()) {
    fatalError("OwnedTasks was used outside its isolation, where its tasks may be running", "Tessaly/OwnedTasks",
               __LINE__);
  }
  return Isolation(*executor_);
}

}  // namespace Tessaly::inline v1
