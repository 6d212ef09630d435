// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <thread>

namespace Tessaly::Tests {

/// Waits until a condition without a notification holds, by polling. Returns false after 9 s.
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
