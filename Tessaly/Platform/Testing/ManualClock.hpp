// SPDX-License-Identifier: MIT
// Component: Tessaly::Testing
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "Tessaly/Core/Base/Durations.hpp"
#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Locks/UnfairLock.hpp"
#include "Tessaly/Core/Tasks/Clock.hpp"

namespace Tessaly::inline v1 {

namespace detail {
class TimerHeap;
}  // namespace detail

/// A clock for tests. Its time moves only when a test calls `advance`. A sleep on this clock needs no real time.
///
/// Thread contract: thread-safe, but only one thread at a time may call `advance`.
///
///     ManualClock clock;
///     Task<> nap([&clock] { return Task<>::sleep(std::chrono::hours(1), clock); });
///     clock.waitForTimers(1);
///     clock.advance(std::chrono::hours(1));
class TESSALY_EXPORT ManualClock final : public Clock {
 public:
  ManualClock();
  ~ManualClock() override;

  [[nodiscard]] Instant now() const noexcept override;
  void add(ClockTimer& timer) override;
  bool remove(ClockTimer& timer) noexcept override;

  /// Moves the time forward, but not beyond the maximum instant. A negative duration moves nothing. Fires the due
  /// timers in the order of their deadlines. While a timer fires, `now()` returns that timer's deadline. The function
  /// of a timer may call `advance` too.
  void advance(std::chrono::nanoseconds duration);
  /// The number of armed timers.
  [[nodiscard]] std::size_t timerCount() const noexcept;
  /// Blocks until at least `count` timers are armed at the same time.
  void waitForTimers(std::size_t count) const;

 private:
  mutable UnfairLock lock_;
  const std::unique_ptr<detail::TimerHeap> timers_ TESSALY_PT_GUARDED_BY(lock_);
  Instant now_ TESSALY_GUARDED_BY(lock_){0};
  std::atomic<std::uint32_t> count_{0};
};

}  // namespace Tessaly::inline v1
