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
  /// The task whose code is running: a coroutine or a plain closure. Null if no task's code is running.
  TaskRecord* task;
  /// The serial executor (the main queue included) that the thread holds for this job. Null if the thread holds none.
  Executor* executor;
  /// The task-local bindings made outside any task.
  TaskLocalBinding* bindings;
  /// A task that can continue after the running job: the job's own task after a yield, or a task that awaited the job's
  /// own task. Null if no task can continue. When the job has returned, the thread queues this task and takes the next
  /// job. If no waiting job goes before this task, the thread runs this task at once.
  Job* traded;
  /// The family of `traded`, or null. `traded` runs after the waiting jobs of this family.
  JobFamily* tradedFamily;
  /// The current task, set when its outermost coroutine or its plain closure has ended. Null before. The task completes
  /// after the thread's call of `resume()` for the coroutine has returned.
  TaskRecord* completed;
  /// Whether the job may take over an idle serial executor, give up the serial executor that it holds, and set
  /// `traded`. True for a job that runs directly on a thread of the pool. After each such job, the thread checks
  /// `executor` and `traded`.
  bool mayHandOver;
  /// Whether a job below this job on the stack holds a serial executor.
  bool isAboveSerialJob;
};

/// The state of one thread in the task runtime. One small block in static thread-local storage, so reading a member
/// takes one instruction.
struct ThreadState : RunningJob {
  /// Whether the thread runs jobs of the global pool now. Also true for an event thread while it helps the pool.
  bool isPoolWorker;
  /// Whether the library started this thread to run the functions that are passed to `runBlocking`.
  bool isBlockingThread;
  /// Whether the thread serves timers and descriptors now. Jobs do not run on it meanwhile.
  bool servesTimers;
  /// Whether this thread is passing a job to the global executor, because the thread serves timers and cannot run the
  /// job.
  bool isForwarding;
  /// The number of nested destructions of coroutine frames that this thread is executing.
  std::uint32_t frameDepth;
  /// The coroutine frames that the outermost destruction destroys at its end. Null if no frame waits for that.
  DeferredFrames* deferredFrames;
  /// The nested calls of `TaskRecord::cancel` on the stack. Null if no such call is running.
  CancellationNest* cancellations;

  struct FrameList {
    void* first;
    /// The number of further free frames that the thread may keep in this list. The number stays 0 until the thread has
    /// registered its exit function. When the thread ends, this function moves the frames to the common lists, or frees
    /// them.
    std::uint32_t room;
  };
  std::array<FrameList, frameClassCount> frames;
};

TESSALY_EXPORT extern __thread ThreadState threadState [[gnu::tls_model("initial-exec")]];

}  // namespace detail
}  // namespace Tessaly::inline v1
