// SPDX-License-Identifier: MIT
// Component: Tessaly::Tasks
#pragma once

#include <cstddef>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Tasks/Executor.hpp"

namespace Tessaly::inline v1 {

/// The queue of work for the main thread. Any event loop can serve the queue.
///
/// The main thread is the first thread of the process, unless another thread called `adopt()` first.
///
/// If work waits and no job is taken for 2 s, the library reports this to the log. If no loop serves the queue, one
/// record of type error says so. If a loop serves the queue, records of the default type report a busy main thread
/// after 2, 4, 8 s and so on.
///
/// A host with an event loop must watch `fileDescriptor()` for reading, and call `drain()` when the descriptor is
/// readable. The adapters for GLib and Qt do that. A host without an event loop must call `run()`.
///
/// Thread contract: thread-safe, except where a function says main-isolated.
///
///     pollfd watched{MainQueue::fileDescriptor(), POLLIN, 0};
///     while (!isDone) {
///       poll(&watched, 1, -1);
///       MainQueue::drain();
///     }
class MainQueue {
 public:
  MainQueue() = delete;

  /// Makes the calling thread the main thread. The first call of `adopt()` or `isMainThread()` determines the main
  /// thread for the rest of the process, even if the library makes that call. Stops the process if another thread is
  /// the main thread already.
  TESSALY_EXPORT static void adopt() noexcept;

  /// Whether the calling thread is the main thread.
  [[nodiscard]] TESSALY_EXPORT static bool isMainThread() noexcept;

  /// A descriptor that is readable while work waits (level-triggered). The queue owns the descriptor. The host may only
  /// poll it. If the main thread sleeps inside `run()` or `syncWait`, new work wakes the thread and does not make the
  /// descriptor readable.
  [[nodiscard]] TESSALY_EXPORT static int fileDescriptor() noexcept;

  /// Runs the jobs that wait when the call begins, but not those that arrive meanwhile. Returns the number of jobs that
  /// ran. A job may call `drain()`, for example in a modal loop. The inner call then also runs the jobs that the outer
  /// call has not reached yet.
  ///
  /// Main-isolated: a call on another thread stops the process.
  TESSALY_EXPORT static std::size_t drain() noexcept;

  /// Serves the queue until `stop()` is called. A job may call `run()`.
  ///
  /// Main-isolated: a call on another thread stops the process.
  TESSALY_EXPORT static void run() noexcept;

  /// Ends the innermost `run()` after the running job has returned. The jobs that still wait stay in the queue. If no
  /// `run()` is running, the next `run()` ends at once.
  TESSALY_EXPORT static void stop() noexcept;

  /// Declares, while the object exists, that a loop serves the queue. If jobs wait too long, the log then reports a
  /// busy main thread, and not a missing loop. Each adapter has a `Service`. A host whose own loop watches the
  /// descriptor may have a `Service` too.
  ///
  /// Thread contract: thread-safe.
  class Service {
   public:
    TESSALY_EXPORT Service() noexcept;
    TESSALY_EXPORT ~Service();
    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;
  };

  /// The queue as an executor. It ignores priorities: first in, first out.
  [[nodiscard]] TESSALY_EXPORT static Executor& executor() noexcept;
};

/// Stops the process unless the caller runs on the main thread. The report is "Incorrect actor executor assumption;
/// Expected same executor as MainQueue." and names the given `Tessaly/<File>` and line.
TESSALY_EXPORT void assertMainIsolated(const char* file, unsigned line) noexcept;

}  // namespace Tessaly::inline v1
