// SPDX-License-Identifier: MIT
// Component: Tessaly::Tasks
#pragma once

#include <atomic>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Tasks/Executor.hpp"

namespace Tessaly::inline v1 {

/// Where work without an isolation runs.
///
/// Unless the host installs another, it is a pool of as many threads as the process may use cores, made on first use
/// and never destroyed: four priorities, each first in first out, served from one queue. Work on it must not block;
/// blocking work goes to `runBlocking`.
///
/// Thread contract: thread-safe.
///
///     static HostExecutor executor;
///     GlobalExecutor::install(executor);
class GlobalExecutor {
 public:
  /// The executor in use; made at the first call.
  [[nodiscard]] static Executor& shared() noexcept {
    Executor* executor = current_.load(std::memory_order_acquire);
    return executor != nullptr ? *executor : make();
  }

  /// Replaces the pool. Only before first use; later it stops the process. The executor must outlive the process's last
  /// task, and must not run jobs inside `enqueue` once the process uses timers or descriptors (see `Executor`).
  TESSALY_EXPORT static void install(Executor& executor) noexcept;

 private:
  TESSALY_EXPORT static Executor& make() noexcept;
  TESSALY_EXPORT static std::atomic<Executor*> current_;
};

}  // namespace Tessaly::inline v1
