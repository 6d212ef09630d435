// SPDX-License-Identifier: MIT
// Component: Tessaly::Tasks
#pragma once

#include <atomic>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Tasks/Executor.hpp"

namespace Tessaly::inline v1 {

/// The executor of work without an isolation.
///
/// Unless the host installs an executor, the global executor is a pool with one thread for each core that the process
/// may use. The pool is made at first use and never destroyed. Work on the global executor must not block; blocking
/// work goes to `runBlocking`.
///
/// The pool has one queue with four priorities. At each priority, the children of task groups start before the other
/// jobs. The pool prefers the task group whose children began to wait for a thread most recently. But about every
/// 1,024th job comes from the group whose children began to wait first. The children of a group start in the order in
/// which they were added. But a child counts as a job outside task groups if its priority differs from that of its
/// waiting siblings. So does a child whose priority is raised while it waits. Jobs outside task groups start first in,
/// first out. Even while children wait, about every sixteenth job that starts is a job outside task groups, if one
/// waits. While some threads take a job every 0.2 µs or more often, the other threads may leave the waiting jobs to
/// them, because a job that moves to another core costs more. When a longer job begins, they go on within about 10 µs.
///
/// Thread contract: thread-safe.
///
///     static HostExecutor executor;
///     GlobalExecutor::install(executor);
class GlobalExecutor {
 public:
  /// The executor in use. The first call makes the pool if the host has installed no executor.
  [[nodiscard]] static Executor& shared() noexcept {
    Executor* executor = current_.load(std::memory_order_acquire);
    return executor != nullptr ? *executor : make();
  }

  /// Makes the given executor the global executor, in place of the pool. A second call stops the process. So does a
  /// call after the first use of the global executor. The given executor must outlive the process's last task, and must
  /// not run jobs inside `enqueue` once the process uses timers or descriptors (see `Executor`).
  TESSALY_EXPORT static void install(Executor& executor) noexcept;

 private:
  TESSALY_EXPORT static Executor& make() noexcept;
  TESSALY_EXPORT static std::atomic<Executor*> current_;
};

}  // namespace Tessaly::inline v1
