// SPDX-License-Identifier: MIT
#pragma once

#include <type_traits>
#include <utility>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"

namespace Tessaly::inline v1::detail {

/// A task of a list that the host does not see. If the task fails, and no other task has received the error by
/// `value()`, it writes one log record: at its end if only the list refers to it then, else with its last handle. A
/// `CancellationError` is not reported.
class TESSALY_EXPORT ReportedTask : public TaskState<void> {
 protected:
  using TaskState::TaskState;
  ~ReportedTask() override;
  void didComplete() noexcept override;

 private:
  void reportUnreadError() noexcept;
};

/// Makes a reported task, which inherits the caller's task-locals and has not started.
template <typename Operation>
TaskState<void>* makeReportedTask(TaskPriority priority, Isolation&& isolation, Operation&& operation) {
  return new ClosureTask<void, std::decay_t<Operation>, ReportedTask>(
      std::forward<Operation>(operation), priority, std::move(isolation), TaskLocalCopies::ofTheCaller);
}

}  // namespace Tessaly::inline v1::detail
