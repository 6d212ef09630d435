// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>

namespace keeper {

/// Measures how long the main loop does not get round to a timer of 5 ms, which calls `beat`. On a busy machine a pause
/// may be that of the scheduler. So it also measures the processor time of the main thread in one pause.
class Heartbeat {
 public:
  static constexpr std::chrono::milliseconds interval{5};

  void beat() {
    const auto now = std::chrono::steady_clock::now();
    const std::chrono::nanoseconds used = processorTime();
    longest_ = std::max<Milliseconds>(longest_, now - last_ - interval);
    busiest_ = std::max<Milliseconds>(busiest_, used - lastUsed_);
    last_ = now;
    lastUsed_ = used;
  }
  /// Writes the longest pause if KEEPER_HEARTBEAT is in the environment.
  void report() {
    beat();
    if (std::getenv("KEEPER_HEARTBEAT") == nullptr) return;
    std::printf("longest pause: %.1f ms, with at most %.1f ms of work\n", longest_.count(), busiest_.count());
  }

 private:
  using Milliseconds = std::chrono::duration<double, std::milli>;

  static std::chrono::nanoseconds processorTime() {
    timespec time{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
  }

  std::chrono::steady_clock::time_point last_ = std::chrono::steady_clock::now();
  std::chrono::nanoseconds lastUsed_ = processorTime();
  Milliseconds longest_{0};
  Milliseconds busiest_{0};
};

}  // namespace keeper
