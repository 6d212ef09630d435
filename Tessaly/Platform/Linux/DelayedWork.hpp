// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <functional>
#include <memory>

#include "Tessaly/Core/Base/CallGate.hpp"
#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Locks/UnfairLock.hpp"
#include "Tessaly/Core/Tasks/Clock.hpp"

namespace Tessaly::inline v1::detail {

/// Work that runs on a thread that may block. The work starts after the delay of `schedule`, or soon after `start`. A
/// second `schedule` before the work starts can only make the start earlier. The work never runs twice at the same
/// time. If the work becomes due while it runs, it runs once more afterwards.
///
/// Thread contract: thread-safe.
class TESSALY_EXPORT DelayedWork final : public std::enable_shared_from_this<DelayedWork>, private ClockTimer {
 public:
  static std::shared_ptr<DelayedWork> make(Clock& clock, std::function<void()> work);

  /// Schedules the work to start after the delay. Does nothing if the process has too few descriptors left to start the
  /// thread of the system's clock.
  void schedule(std::chrono::nanoseconds delay);
  /// Makes the work due now, without the clock. Does not wait for the run.
  void start();
  /// Cancels the work. Waits until a run on another thread has ended. No run begins afterwards.
  void cancel() noexcept;

 private:
  struct Run;
  void becomeDue();
  void run();
  DelayedWork(Clock& clock, std::function<void()> work);

  Clock& clock_;
  const std::function<void()> work_;
  /// Held while `schedule` or `cancel` changes the timer, and acquired before `lock_`. `lock_` is not held during
  /// `Clock::add`. If the deadline has passed, the timer may fire before `Clock::add` returns. It then calls
  /// `becomeDue`, which acquires `lock_`.
  UnfairLock scheduling_;
  UnfairLock lock_;
  /// A reference to this object while the work is scheduled, so that the object still exists when its timer fires.
  std::shared_ptr<DelayedWork> scheduled_ TESSALY_GUARDED_BY(lock_);
  /// Whether the work is due and its next run has not begun.
  bool isDue_ TESSALY_GUARDED_BY(lock_) = false;
  bool isRunning_ TESSALY_GUARDED_BY(lock_) = false;
  CallGate calls_;
};

}  // namespace Tessaly::inline v1::detail
