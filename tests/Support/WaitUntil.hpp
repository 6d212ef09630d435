// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <thread>

namespace Tessaly::Tests {

/// Waits until a condition holds that nothing announces, by looking again and again; false after 9 seconds.
template <typename Condition>
bool waitUntil(Condition condition) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(9);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::microseconds(200));
  }
  return true;
}

}  // namespace Tessaly::Tests
