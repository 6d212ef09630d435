// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstdint>
#include <limits>

#include "tests/stress/StressRound.hpp"

// Random graphs of tasks, one after the other on each of some threads. Every step of every task checks what must hold.
// A violation stops the process, with the rule, the seed of the graph, and the graph.

namespace Tessaly::Tests {

struct StressSettings {
  enum class Executor : std::uint8_t {
    /// The pool of the library.
    pool,
    /// An executor as a host may make one, with 64 threads.
    threads,
    /// The seeded scheduler, on this thread alone: the seed decides the schedule, too.
    seeded,
  };

  Executor executor = Executor::pool;
  /// Of the first round. Each further round has the next one.
  std::uint64_t seed = 1;
  std::uint64_t rounds = std::numeric_limits<std::uint64_t>::max();
  /// No round begins after this time.
  std::chrono::seconds time{std::numeric_limits<int>::max()};
  /// How many threads run rounds.
  unsigned drivers = 1;
  /// A round without a step in this time has lost a wake-up.
  std::chrono::seconds patience{60};
  Breakage breakage = Breakage::none;
};

struct StressResult {
  std::uint64_t rounds = 0;
  std::uint64_t steps = 0;
  /// A hash of the order of all steps, under the seeded scheduler.
  std::uint64_t trace = 0;
};

/// Runs the rounds. On the main thread, once for a process unless the scheduler is the seeded one.
StressResult stressTasks(const StressSettings& settings);

}  // namespace Tessaly::Tests
