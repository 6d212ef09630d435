// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Testing/ServeUntil.hpp"

#include <chrono>
#include <thread>

#include "Tessaly/Core/Tasks/Clock.hpp"
#include "Tessaly/Core/Tasks/MainQueue.hpp"

namespace Tessaly::inline v1 {

bool serveUntil(const std::function<bool()>& condition, std::chrono::nanoseconds limit) {
  constexpr auto pause = std::chrono::microseconds(200);
  const Clock& clock = ContinuousClock::shared();
  const bool isMainThread = MainQueue::isMainThread();
  for (const Clock::Instant end = clock.after(limit);;) {
    if (isMainThread) MainQueue::drain();
    if (condition()) return true;
    if (clock.now() >= end) return false;
    std::this_thread::sleep_for(pause);
  }
}

}  // namespace Tessaly::inline v1
