// SPDX-License-Identifier: MIT
// Component: Tessaly::Tasks
#pragma once

#include <chrono>
#include <cstddef>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1 {

class ClockTimer;

/// A source of time that can wait: the seam behind every sleep and delay.
///
/// Thread contract: thread-safe.
///
///     void report(const Clock& clock, Clock::Instant start) { show(clock.now() - start); }
class TESSALY_EXPORT Clock {
 public:
  /// Nanoseconds since an origin of the clock's own.
  using Instant = std::chrono::nanoseconds;

  virtual ~Clock() = default;
  [[nodiscard]] virtual Instant now() const noexcept = 0;
  /// The instant that lies the given time ahead. Beyond the last one it is the last one, which never comes.
  [[nodiscard]] Instant after(std::chrono::nanoseconds duration) const noexcept {
    const Instant present = now();
    return present.count() > 0 && duration > Instant::max() - present ? Instant::max() : present + duration;
  }
  /// Has the timer fire once at its deadline, or at once if that has passed. It must not be armed.
  virtual void add(ClockTimer& timer) = 0;
  /// Takes an armed timer back. False if it has fired or is about to: then its function is or will be called.
  virtual bool remove(ClockTimer& timer) noexcept = 0;

 protected:
  Clock() = default;
  Clock(const Clock&) = default;
  Clock& operator=(const Clock&) = default;
};

/// One wait on a clock; lives with whoever waits.
///
/// The function is called on the clock's own thread, with no lock held. It must not block, must not run code of the
/// host's, and may destroy the timer.
///
/// Thread contract: thread-compatible; the clock synchronises while it is armed.
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
  /// Only while it is not armed.
  void setDeadline(Clock::Instant deadline) noexcept { deadline_ = deadline; }

  /// For clocks.
  void fire() noexcept { function_(*this); }
  static constexpr std::size_t notArmed = static_cast<std::size_t>(-1);
  std::size_t position = notArmed;

 protected:
  ~ClockTimer() = default;

 private:
  Function function_;
  Clock::Instant deadline_{};
};

/// The system's clock that goes on while the machine sleeps (`CLOCK_BOOTTIME`).
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
