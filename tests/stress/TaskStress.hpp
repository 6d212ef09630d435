// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstdint>
#include <limits>

#include "tests/stress/StressRound.hpp"

// Runs random graphs of tasks. Each driving thread runs one graph at a time. Every step of every task checks the rules.
// A violation stops the process, with the rule, the seed of the graph, and the graph.

namespace Tessaly::Tests {

struct StressSettings {
  enum class Executor : std::uint8_t {
    /// The pool of the library.
    pool,
    /// An executor with 64 threads, as a host may make one.
    threads,
    /// The seeded scheduler on this thread alone. The seed decides the schedule, too.
    seeded,
  };

  Executor executor = Executor::pool;
  /// The seed of the first round. Each further round has the next number.
  std::uint64_t seed = 1;
  std::uint64_t rounds = std::numeric_limits<std::uint64_t>::max();
  /// No round begins after this time.
  std::chrono::seconds time{std::numeric_limits<int>::max()};
  /// The number of threads that run rounds.
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

/// Runs the rounds. Call it on the main thread, and only once in a process unless the executor is `seeded`.
StressResult stressTasks(const StressSettings& settings);

}  // namespace Tessaly::Tests
