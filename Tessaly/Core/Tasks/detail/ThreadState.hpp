// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1 {

class Executor;
class Job;
struct JobFamily;

namespace detail {

class TaskRecord;
class TaskLocalBinding;
struct CancellationNest;
struct DeferredFrames;

inline constexpr std::size_t frameClassSize = 64;
inline constexpr std::size_t frameClassCount = 12;

/// The state of the job that runs on a thread. `JobScope` gives a job a state of its own.
struct RunningJob {
  /// The task whose coroutine is running.
  TaskRecord* task;
  /// The serial executor (the main queue included) that the thread holds for this job. Null if the thread holds none.
  Executor* executor;
  /// The task-local bindings made outside any task.
  TaskLocalBinding* bindings;
  /// A task that can continue after the running job: the job's own task after a yield, or a task that awaited the job's
  /// own task. The thread queues this task and takes the next job.
  Job* traded;
  /// The family of `traded`, or null. `traded` runs after the waiting jobs of this family.
  JobFamily* tradedFamily;
  /// Set when the current task's outermost coroutine has ended; the task completes after the resumption of that
  /// coroutine has returned.
  TaskRecord* completed;
  /// Whether the job may take over idle serial executors, give up its own, and set `traded`. True for a job that runs
  /// directly on a thread of the pool. The thread checks for all three actions after each job.
  bool mayHandOver;
  /// Whether a job below this job on the stack holds a serial executor.
  bool isAboveSerialJob;
};

/// The runtime's state of a thread. One small block in static thread-local storage, so reading a member takes one
/// instruction.
struct ThreadState : RunningJob {
  /// Whether the thread runs the jobs of the global pool.
  bool isPoolWorker;
  /// Whether this is a thread of `runBlocking`.
  bool isBlockingThread;
  /// Whether the thread serves timers and descriptors now. Jobs do not run on it meanwhile.
  bool servesTimers;
  /// Whether the thread that serves timers is handing a job to the global executor.
  bool isForwarding;
  /// The number of nested destructions of coroutines on the stack, and the coroutines that the outermost destruction
  /// destroys later.
  std::uint32_t frameDepth;
  DeferredFrames* deferredFrames;
  /// The calls of `cancel` on the stack. Null if there is none.
  CancellationNest* cancellations;

  struct FrameList {
    void* first;
    /// The number of further frames that the thread may keep. 0 until the thread has registered its exit function. When
    /// the thread ends, this function moves the frames to the common lists, or frees them.
    std::uint32_t room;
  };
  std::array<FrameList, frameClassCount> frames;
};

TESSALY_EXPORT extern __thread ThreadState threadState [[gnu::tls_model("initial-exec")]];

}  // namespace detail
}  // namespace Tessaly::inline v1
