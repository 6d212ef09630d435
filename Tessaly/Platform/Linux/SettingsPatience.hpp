// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <thread>

#include "Tessaly/Core/Tasks/Clock.hpp"

namespace Tessaly::inline v1::detail {

/// The total time for which one operation may wait for other processes. The store's clock measures the time. The
/// operation calls `wait` between two attempts, and `wait` sleeps.
///
/// Thread contract: thread-compatible.
class SettingsPatience {
 public:
  /// The limit for an operation that a host calls. No other limit is longer.
  static constexpr std::chrono::seconds maximum{2};

  SettingsPatience(Clock& clock, std::chrono::nanoseconds limit)
      : clock_(clock), end_(clock.after(limit)), limit_(limit) {}

  /// Whether the limit is at least `maximum`.
  [[nodiscard]] bool isFull() const noexcept { return limit_ >= maximum; }
  /// Sleeps for the pause and returns true. Returns false at once if the limit is 0 or has passed.
  [[nodiscard]] bool wait(std::chrono::microseconds pause = std::chrono::microseconds(50)) {
    if (limit_.count() == 0 || clock_.now() >= end_) return false;
    std::this_thread::sleep_for(pause);
    return true;
  }

 private:
  Clock& clock_;
  const Clock::Instant end_;
  const std::chrono::nanoseconds limit_;
};

}  // namespace Tessaly::inline v1::detail
