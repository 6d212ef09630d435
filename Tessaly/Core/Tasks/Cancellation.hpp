// SPDX-License-Identifier: MIT
// Component: Tessaly::Tasks
#pragma once

#include <functional>
#include <utility>

#include "Tessaly/Core/Base/CallNotification.hpp"
#include "Tessaly/Core/Tasks/Async.hpp"
#include "Tessaly/Core/Tasks/detail/TaskRecord.hpp"

namespace Tessaly::inline v1 {

namespace detail {

/// For the duration of a scope, installs a function that is called when the current task is cancelled.
template <typename OnCancel>
class ScopedCancellationHandler final : public CancellationHandler {
 public:
  explicit ScopedCancellationHandler(OnCancel onCancel)
      : CancellationHandler([](CancellationHandler& handler, TaskList&) noexcept {
          static_cast<ScopedCancellationHandler&>(handler).call();
        }),
        onCancel_(std::move(onCancel)),
        task_(*threadState.task) {
    if (!task_.addCancellationHandler(*this)) call();
  }
  ~ScopedCancellationHandler() { task_.removeCancellationHandler(*this); }

 private:
  void call() noexcept { callNotification("A cancellation handler", onCancel_); }

  OnCancel onCancel_;
  TaskRecord& task_;
};

}  // namespace detail

/// Runs the operation, which must return an `Async`. Calls `onCancel` at most once if the current task is cancelled
/// meanwhile. The call of `onCancel` is synchronous on the cancelling thread, with no lock held, perhaps while the
/// operation is running. If the task is cancelled already, this call precedes the operation, which still runs. After
/// this function has ended, no call of `onCancel` is running on another thread, and no such call begins.
///
/// `onCancel` should only change some state and resume or enqueue a task. An exception of `onCancel` stops the process.
///
/// Thread contract: thread-safe. Adding and removing the handler each take one lock and do not allocate.
///
///     co_await withTaskCancellationHandler([&] { return download.finished(); }, [&] { download.abort(); });
template <typename Operation, typename OnCancel>
auto withTaskCancellationHandler(Operation operation, OnCancel onCancel) -> std::invoke_result_t<Operation&> {
  const detail::ScopedCancellationHandler<OnCancel> handler(std::move(onCancel));
  co_return co_await std::invoke(operation);
}

}  // namespace Tessaly::inline v1
