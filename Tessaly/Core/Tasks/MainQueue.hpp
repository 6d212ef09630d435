// SPDX-License-Identifier: MIT
// Component: Tessaly::Tasks
#pragma once

#include <cstddef>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Tasks/Executor.hpp"

namespace Tessaly::inline v1 {

/// The queue of work for the main thread, and the means by which any event loop serves it.
///
/// The main thread is the one whose identifier is the process's, unless another thread called `adopt()` first.
///
/// Work that waits for 2 s is reported in the log. If no loop serves the queue, one record of type error says so. If
/// one does, the main thread is busy, and a record of the default type says for how long, after 2 s, 4 s, 8 s and so
/// on.
///
/// A host with an event loop watches `fileDescriptor()` for reading and calls `drain()` when it is readable (the
/// adapters for GLib and Qt do just that); a host without one calls `run()`.
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

  /// Makes the calling thread the main thread. Only before the first use of the queue; later it stops the process.
  TESSALY_EXPORT static void adopt() noexcept;

  /// Whether the calling thread is the main thread.
  [[nodiscard]] TESSALY_EXPORT static bool isMainThread() noexcept;

  /// Readable while work waits. Level-triggered; owned by the queue; to be polled only.
  [[nodiscard]] TESSALY_EXPORT static int fileDescriptor() noexcept;

  /// Runs the jobs that are waiting on entry, not those that come meanwhile. Returns how many it ran. May be called
  /// from inside a job (a modal loop), where it runs those that the outer call has not reached yet.
  ///
  /// Main-isolated: elsewhere it stops the process.
  TESSALY_EXPORT static std::size_t drain() noexcept;

  /// Serves the queue until `stop()`. Main-isolated; may be nested.
  TESSALY_EXPORT static void run() noexcept;

  /// Ends the innermost `run()` once the job that is running has returned. Jobs behind it stay in the queue. Without a
  /// `run()` the next one ends at once.
  TESSALY_EXPORT static void stop() noexcept;

  /// Says, as long as it lives, that a loop serves the queue. Adapters hold one; a host whose own loop watches the
  /// descriptor may, too.
  ///
  /// Thread contract: thread-safe.
  class Service {
   public:
    TESSALY_EXPORT Service() noexcept;
    TESSALY_EXPORT ~Service();
    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;
  };

  /// The queue as an executor. Priorities are not told apart: first in, first out.
  [[nodiscard]] TESSALY_EXPORT static Executor& executor() noexcept;
};

/// Stops the process unless the caller runs on the main thread, with the report "Incorrect actor executor assumption;
/// Expected same executor as MainQueue." at the given `Tessaly/<File>` and line.
TESSALY_EXPORT void assertMainIsolated(const char* file, unsigned line) noexcept;

}  // namespace Tessaly::inline v1
