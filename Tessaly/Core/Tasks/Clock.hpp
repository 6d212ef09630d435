// SPDX-License-Identifier: MIT
// Component: Tessaly::Tasks
#pragma once

#include <cstddef>

#include "Tessaly/Core/Base/Durations.hpp"
#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1 {

class ClockTimer;

/// A source of time with timers. Every sleep and delay measures time with a clock.
///
/// Thread contract: thread-safe.
///
///     void report(const Clock& clock, Clock::Instant start) { show(clock.now() - start); }
class TESSALY_EXPORT Clock {
 public:
  /// Nanoseconds since the origin of the clock.
  using Instant = std::chrono::nanoseconds;

  virtual ~Clock() = default;
  [[nodiscard]] virtual Instant now() const noexcept = 0;
  /// `now()` plus `duration`, but at most the maximum instant. `ContinuousClock` never reaches that instant.
  [[nodiscard]] Instant after(std::chrono::nanoseconds duration) const noexcept {
    const Instant present = now();
    return present.count() > 0 && duration > Instant::max() - present ? Instant::max() : present + duration;
  }
  /// Arms a timer, which must not be armed yet. The timer fires once at its deadline. If the deadline has passed, the
  /// timer fires immediately, perhaps inside this call.
  virtual void add(ClockTimer& timer) = 0;
  /// Disarms a timer. Returns false if the timer has fired or is about to fire. In that case its function was called or
  /// will be called.
  virtual bool remove(ClockTimer& timer) noexcept = 0;

 protected:
  Clock() = default;
  Clock(const Clock&) = default;
  Clock& operator=(const Clock&) = default;
};

/// One wait on a clock. The waiting code owns the timer.
///
/// The clock calls the function on a thread of its choice, with no lock held. The function must not block, because
/// other timers may wait for the same thread. It must leave longer work to a job. The function may destroy the timer.
///
/// Thread contract: thread-compatible. The clock synchronises access to an armed timer.
///
///     struct Alarm : ClockTimer {
///       Alarm() : ClockTimer([](ClockTimer&) noexcept { ring(); }) {}
///     };
class ClockTimer {
 public:
  using Function = void (*)(ClockTimer&) noexcept;

  explicit ClockTimer(Function function) noexcept : function_(function) {}
  ClockTimer(const ClockTimer&) = delete;
  ClockTimer& operator=(const ClockTimer&) = delete;

  [[nodiscard]] Clock::Instant deadline() const noexcept { return deadline_; }
  /// Sets the deadline. The timer must not be armed.
  void setDeadline(Clock::Instant deadline) noexcept { deadline_ = deadline; }

  /// For clocks: calls the function.
  void fire() noexcept { function_(*this); }
  static constexpr std::size_t notArmed = static_cast<std::size_t>(-1);
  std::size_t position = notArmed;

 protected:
  ~ClockTimer() = default;

 private:
  Function function_;
  Clock::Instant deadline_{};
};

/// The system's clock that continues to count while the machine is suspended (`CLOCK_BOOTTIME`).
///
/// Thread contract: thread-safe.
///
///     co_await Task<>::sleep(std::chrono::milliseconds(20), ContinuousClock::shared());
class TESSALY_EXPORT ContinuousClock final : public Clock {
 public:
  [[nodiscard]] static ContinuousClock& shared() noexcept;
  [[nodiscard]] Instant now() const noexcept override;
  void add(ClockTimer& timer) override;
  bool remove(ClockTimer& timer) noexcept override;
};

}  // namespace Tessaly::inline v1
