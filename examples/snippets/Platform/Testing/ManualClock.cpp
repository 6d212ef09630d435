// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Testing/ManualClock.hpp"

#include <chrono>

#include "Tessaly/Core/Tasks/Task.hpp"

namespace Tessaly {

void snippet() {
  ManualClock clock;
  Task<> nap([&clock] { return Task<>::sleep(std::chrono::hours(1), clock); });
  clock.waitForTimers(1);
  clock.advance(std::chrono::hours(1));
}

}  // namespace Tessaly
