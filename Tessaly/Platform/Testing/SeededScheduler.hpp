// SPDX-License-Identifier: MIT
// Component: Tessaly::Testing
#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Locks/UnfairLock.hpp"
#include "Tessaly/Core/Tasks/Executor.hpp"

namespace Tessaly::inline v1 {

/// A global executor that runs one job at a time on the thread that asks, choosing among the waiting ones by a seeded
/// random generator: the same seed gives the same interleaving. For tests of orders that a quiet machine never shows.
///
/// Tasks interleave where they suspend, so a test that wants every order of its steps puts a `Task<>::yield()` between
/// them. Serial executors never take the shortcut onto the running thread, so each hop is a choice, too.
///
/// Thread contract: thread-safe, except that one thread runs the jobs.
///
///     SeededScheduler& scheduler = SeededScheduler::install();
///     for (std::uint64_t seed = 0; seed < 1000; ++seed) {
///       scheduler.reseed(seed);
///       Task<> first = Task<>::detached([] { return step(); });
///       scheduler.runUntilIdle();
///     }
class TESSALY_EXPORT SeededScheduler final : public Executor {
 public:
  /// Makes the one of this process the global executor. Stops the process if another one is in use.
  static SeededScheduler& install();

  void reseed(std::uint64_t seed);

  void enqueue(Job& job) noexcept override;
  /// Runs a job that waits; false if none does.
  bool runOne();
  /// Runs jobs until none waits; returns how many it ran.
  std::size_t runUntilIdle();

 private:
  SeededScheduler() = default;

  UnfairLock lock_;
  std::vector<Job*> jobs_ TESSALY_GUARDED_BY(lock_);
  std::mt19937_64 random_ TESSALY_GUARDED_BY(lock_);
};

}  // namespace Tessaly::inline v1
