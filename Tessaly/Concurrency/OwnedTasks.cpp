// SPDX-License-Identifier: MIT
#include "Tessaly/Concurrency/OwnedTasks.hpp"

#include "Tessaly/Concurrency/detail/OwnerExecutor.hpp"
#include "Tessaly/Core/Base/FatalError.hpp"

namespace Tessaly::inline v1 {

OwnedTasks::OwnedTasks(const Isolation& isolation) : executor_(new detail::OwnerExecutor(isolation)) {}

OwnedTasks::~OwnedTasks() {
  endTasks();
  executor_->release();
}

void OwnedTasks::end() {
  auto* next = new detail::OwnerExecutor(isolation());
  endTasks();
  std::exchange(executor_, next)->release();
}

Isolation OwnedTasks::isolation() const {
  if (!executor_->isCurrent()) {
    fatalError("OwnedTasks was used outside its isolation, where its tasks may be running", "Tessaly/OwnedTasks",
               __LINE__);
  }
  return Isolation(*executor_);
}

void OwnedTasks::endTasks() noexcept {
  static_cast<void>(isolation());
  for (const Task<>& task : std::exchange(tasks_, {})) task.cancel();
  executor_->end();
}

}  // namespace Tessaly::inline v1
