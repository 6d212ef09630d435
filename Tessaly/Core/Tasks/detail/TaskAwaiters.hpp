// SPDX-License-Identifier: MIT
#pragma once

#include <concepts>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Tasks/Async.hpp"
#include "Tessaly/Core/Tasks/Clock.hpp"
#include "Tessaly/Core/Tasks/detail/TaskRecord.hpp"

namespace Tessaly::inline v1::detail {

/// Moves the task to the back of its executor's queue.
struct YieldAwaiter {
  bool await_ready() const noexcept { return false; }
  template <std::derived_from<AsyncPromiseBase> Promise>
  void await_suspend(std::coroutine_handle<Promise> handle) const noexcept {
    TaskRecord& task = *threadState.task;
    task.setResumePoint(handle);
    task.scheduleAtEndOfJob();
  }
  void await_resume() const noexcept {}
};

/// Waits for a deadline or for the task's cancellation, whichever comes first. Throws a `CancellationError` in the
/// second case.
[[nodiscard]] TESSALY_EXPORT Async<void> sleepUntil(Clock::Instant deadline, Clock* clock);

}  // namespace Tessaly::inline v1::detail
