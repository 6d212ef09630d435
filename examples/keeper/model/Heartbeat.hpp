// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>

namespace keeper {

/// Measures how long the main loop does not get round to a timer of 5 ms, which calls `beat`.
class Heartbeat {
 public:
  static constexpr std::chrono::milliseconds interval{5};

  void beat() {
    const auto now = std::chrono::steady_clock::now();
    longest_ = std::max<std::chrono::duration<double, std::milli>>(longest_, now - last_ - interval);
    last_ = now;
  }
  /// Writes the longest pause if KEEPER_HEARTBEAT is in the environment.
  void report() {
    beat();
    if (std::getenv("KEEPER_HEARTBEAT") != nullptr) std::printf("longest pause: %.1f ms\n", longest_.count());
  }

 private:
  std::chrono::steady_clock::time_point last_ = std::chrono::steady_clock::now();
  std::chrono::duration<double, std::milli> longest_{0};
};

}  // namespace keeper
