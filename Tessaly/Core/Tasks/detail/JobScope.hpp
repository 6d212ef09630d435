// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstddef>
#include <cstring>

#include "Tessaly/Core/Tasks/detail/ThreadState.hpp"

namespace Tessaly::inline v1::detail {

/// A scope in which a job runs with a state of its own. The destructor restores the state of the job that is below
/// this job on the stack.
///
/// So a job in a nested drain, or inside `enqueue`, can neither see nor change the state of the job below. A job that
/// runs directly on a thread of the pool has no scope: no other job is below, and the thread must still find the job's
/// state afterwards.
///
/// Thread contract: thread-compatible; lives on one thread's stack.
class JobScope {
 public:
  /// Records `executor` as the serial executor that the thread holds while the job runs. Null means that the thread
  /// holds no serial executor.
  explicit JobScope(Executor* executor) noexcept : running_(threadState) {
    const bool isAboveSerialJob = running_.isAboveSerialJob || running_.executor != nullptr;
    std::memcpy(outer_.data(), &running_, sizeof(RunningJob));
    running_ = RunningJob{};
    running_.executor = executor;
    running_.isAboveSerialJob = isAboveSerialJob;
  }
  ~JobScope() { std::memcpy(&running_, outer_.data(), sizeof(RunningJob)); }
  JobScope(const JobScope&) = delete;
  JobScope& operator=(const JobScope&) = delete;

 private:
  RunningJob& running_;
  /// The state of the job that is below this job on the stack, as bytes. The compiler would copy a structure member by
  /// member, with twice the instructions.
  alignas(RunningJob) std::array<std::byte, sizeof(RunningJob)> outer_;
};

}  // namespace Tessaly::inline v1::detail
