// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1 {

class Executor;
class Job;

namespace detail {

class TaskRecord;
class TaskLocalBinding;

inline constexpr std::size_t frameClassSize = 64;
inline constexpr std::size_t frameClassCount = 12;

/// What the runtime knows of a thread. One small block in static thread-local storage: reading it is one instruction.
struct ThreadState {
  /// The task one of whose coroutines is running.
  TaskRecord* task;
  /// The serial executor (the main queue included) that this thread holds; null on the pool and outside.
  Executor* executor;
  /// Whether this is a thread of the global pool, which may take idle serial executors over and give them back.
  bool isPoolWorker;
  /// The job that the running one leaves behind itself: it yields, and the thread trades it for the next at once.
  Job* traded;
  /// Set when the current task's outermost coroutine has ended; the task completes once that has returned.
  TaskRecord* completed;
  /// The task-local bindings made outside any task.
  TaskLocalBinding* bindings;

  struct FrameList {
    void* first;
    /// How many frames more may be kept. None before the thread has seen to it that they are given back when it ends.
    std::uint32_t room;
  };
  std::array<FrameList, frameClassCount> frames;
};

TESSALY_EXPORT extern __thread ThreadState threadState [[gnu::tls_model("initial-exec")]];

}  // namespace detail
}  // namespace Tessaly::inline v1
