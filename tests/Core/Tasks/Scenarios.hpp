// SPDX-License-Identifier: MIT
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <utility>
#include <vector>

#include "Tessaly/Core/Tasks/SyncWait.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"
#include "Tessaly/Platform/Testing/SeededScheduler.hpp"
#include "tests/Support/Pause.hpp"
#include "tests/Support/Repetitions.hpp"

// Scenarios of several tasks in which something must hold in every order of their steps. Each runs under the seeded
// scheduler, where the seed decides which step comes next, and on the threads of the pool.

namespace Tessaly::Tests {

/// Starts tasks, and waits until all have ended.
class Tasks {
 public:
  enum class On { seededScheduler, pool };

  Tasks(On on, std::uint64_t seed) : on_(on), random_(seed) {
    if (on == On::seededScheduler) SeededScheduler::install().reseed(seed);
  }
  template <typename Operation>
  Task<> add(Operation operation) {
    Task<> task = Task<>::detached(std::move(operation));
    all_.push_back(task);
    return task;
  }
  void wait() {
    if (on_ == On::seededScheduler) SeededScheduler::install().runUntilIdle();
    for (const auto& task : all_) {
      if (on_ == On::pool) syncWait(task.finished());
      ASSERT_TRUE(task.isFinished());
    }
  }
  [[nodiscard]] On on() const { return on_; }
  /// Less than `limit`.
  int random(int limit) { return static_cast<int>(random_() % static_cast<std::uint64_t>(limit)); }

 private:
  On on_;
  std::mt19937_64 random_;
  std::vector<Task<>> all_;
};

/// What must hold, with the tasks that it adds and the numbers that it draws.
using Scenario = void (*)(Tasks&);

inline void repeatScenario(Scenario scenario, Tasks::On on, int count) {
  for (int seed = 0; seed < repetitions(count) && !testing::Test::HasFailure(); ++seed) {
    SCOPED_TRACE(seed);
    Tasks tasks(on, static_cast<std::uint64_t>(seed));
    scenario(tasks);
  }
}

inline void holdsInEveryOrderOfSteps(Scenario scenario) { repeatScenario(scenario, Tasks::On::seededScheduler, 3'000); }

inline void holdsOnManyThreads(Scenario scenario) { repeatScenario(scenario, Tasks::On::pool, 500); }

}  // namespace Tessaly::Tests
