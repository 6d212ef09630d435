// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Testing/SeededScheduler.hpp"

#include <cstdint>

#include "Tessaly/Core/Tasks/Task.hpp"

namespace Tessaly {

void step();

void snippet() {
  SeededScheduler& scheduler = SeededScheduler::install();
  for (std::uint64_t seed = 0; seed < 1000; ++seed) {
    scheduler.reseed(seed);
    Task<> first = Task<>::detached([] { return step(); });
    scheduler.runUntilIdle();
  }
}

}  // namespace Tessaly
