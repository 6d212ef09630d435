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

/// A global executor for tests of rare interleavings. `runOne` and `runUntilIdle` run one job at a time on the calling
/// thread. A seeded random generator chooses the next job, so the same seed gives the same interleaving.
///
/// Tasks interleave only where they suspend. A test that needs every order of its steps must put a `Task<>::yield()`
/// between the steps. With this scheduler, a task that changes to a serial executor never continues at once, even if
/// that executor is idle. So the scheduler also chooses the time of each such change.
///
/// Thread contract: thread-safe, except that only one thread may run the jobs.
///
///     SeededScheduler& scheduler = SeededScheduler::install();
///     for (std::uint64_t seed = 0; seed < 1000; ++seed) {
///       scheduler.reseed(seed);
///       Task<> first = Task<>::detached([] { return step(); });
///       scheduler.runUntilIdle();
///     }
class TESSALY_EXPORT SeededScheduler final : public Executor {
 public:
  /// Installs the process's only `SeededScheduler` as the global executor, and returns it. Later calls only return it.
  /// Stops the process if another global executor is already in use.
  static SeededScheduler& install();

  void reseed(std::uint64_t seed);

  void enqueue(Job& job) noexcept override;
  /// Runs one of the waiting jobs. Returns false if there was no waiting job to run.
  bool runOne();
  /// Runs jobs until no job waits. Returns the number of jobs that ran.
  std::size_t runUntilIdle();

 private:
  SeededScheduler() = default;

  UnfairLock lock_;
  std::vector<Job*> jobs_ TESSALY_GUARDED_BY(lock_);
  std::mt19937_64 random_ TESSALY_GUARDED_BY(lock_);
};

}  // namespace Tessaly::inline v1
