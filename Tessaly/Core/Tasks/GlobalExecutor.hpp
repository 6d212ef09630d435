// SPDX-License-Identifier: MIT
// Component: Tessaly::Tasks
#pragma once

#include <atomic>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Tasks/Executor.hpp"

namespace Tessaly::inline v1 {

/// The executor of work without an isolation.
///
/// Unless the host installs another, it is a pool with one thread for each core that the process may use. It is made at
/// first use and never destroyed. Work on it must not block; blocking work goes to `runBlocking`.
///
/// The pool has one queue with four priorities. At each priority, the children of the newest task group run first, in
/// the order in which they were added. Jobs outside task groups are first in, first out, and every sixteenth turn is
/// theirs.
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

  /// Replaces the pool. A call after the first use stops the process. The executor must outlive the process's last
  /// task, and must not run jobs inside `enqueue` once the process uses timers or descriptors (see `Executor`).
  TESSALY_EXPORT static void install(Executor& executor) noexcept;

 private:
  TESSALY_EXPORT static Executor& make() noexcept;
  TESSALY_EXPORT static std::atomic<Executor*> current_;
};

}  // namespace Tessaly::inline v1
