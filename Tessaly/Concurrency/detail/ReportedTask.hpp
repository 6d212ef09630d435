// SPDX-License-Identifier: MIT
#pragma once

#include <type_traits>
#include <utility>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"

namespace Tessaly::inline v1::detail {

/// A task of a list that the host does not see. If the task fails, and no other task has received the error by
/// `value()`, it writes one log record: at its end if only the list refers to it then, else with its last handle, or
/// when the owner of the list asks for it. A `CancellationError` is not reported.
class TESSALY_EXPORT ReportedTask : public TaskState<void> {
 public:
  /// Called when no other task is expected to receive the error.
  void reportUnreadError() noexcept;

 protected:
  using TaskState::TaskState;
  ~ReportedTask() override;
  void didComplete() noexcept override;
};

/// The same for a finished task of `makeReportedTask`. The thread that ran the task may still refer to it.
inline void reportUnreadError(const Task<>& task) noexcept {
  static_cast<ReportedTask&>(TaskAccess::record(task)).reportUnreadError();
}

/// Makes a reported task, which inherits the caller's task-locals and has not started.
template <typename Operation>
TaskState<void>* makeReportedTask(TaskPriority priority, Isolation&& isolation, Operation&& operation) {
  return new ClosureTask<void, std::decay_t<Operation>, ReportedTask>(
      std::forward<Operation>(operation), priority, std::move(isolation), TaskLocalCopies::ofTheCaller);
}

}  // namespace Tessaly::inline v1::detail
