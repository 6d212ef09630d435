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

/// Work that is done on a thread that may block, some time after it was asked for; asking again meanwhile can only
/// make it come sooner. It is never under way twice: what becomes due while it is, is done once more afterwards.
///
/// Thread contract: thread-safe.
class TESSALY_EXPORT DelayedWork final : public std::enable_shared_from_this<DelayedWork>, private ClockTimer {
 public:
  static std::shared_ptr<DelayedWork> make(Clock& clock, std::function<void()> work);

  /// Does nothing while the process has no descriptors left for the clock's thread.
  void schedule(std::chrono::nanoseconds delay);
  /// Afterwards the work is not, and will not be, under way: what has begun on another thread is waited for.
  void cancel() noexcept;

 private:
  struct Run;
  void becomeDue();
  void run();
  DelayedWork(Clock& clock, std::function<void()> work);

  Clock& clock_;
  const std::function<void()> work_;
  UnfairLock lock_;
  /// Itself while it is scheduled, so that the timer is there to fire.
  std::shared_ptr<DelayedWork> scheduled_ TESSALY_GUARDED_BY(lock_);
  /// Somebody is on the way to do it, or to do it once more.
  bool isDue_ TESSALY_GUARDED_BY(lock_) = false;
  bool isRunning_ TESSALY_GUARDED_BY(lock_) = false;
  CallGate calls_;
};

}  // namespace Tessaly::inline v1::detail
