// SPDX-License-Identifier: MIT
#pragma once

namespace Tessaly::inline v1::detail {

class Pool;

/// The connection between the global pool and a thread that waits for events. After serving events, the thread itself
/// runs the jobs that wait in the pool. So an event needs only one wake-up to reach a coroutine.
///
/// At most one such thread runs jobs, and only in the place of a sleeping thread of the pool. The pool therefore never
/// runs more jobs at once than it has threads. If the library's pool does not exist, the thread only serves events.
///
/// Thread contract: thread-compatible; lives on the stack of its thread.
class EventThread {
 public:
  /// Until `endServing()`, no job runs on this thread. If only one job waits meanwhile, the pool wakes no thread for
  /// it, because `endServing()` runs that job or wakes a thread.
  void beginServing() noexcept;
  /// Runs jobs until none waits. If another event thread is already running jobs, runs no job, and wakes a sleeping
  /// thread of the pool if necessary. If no thread of the pool sleeps, runs no job.
  void endServing() noexcept;

 private:
  Pool* pool_ = nullptr;
};

}  // namespace Tessaly::inline v1::detail
