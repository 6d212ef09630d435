// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstddef>
#include <cstring>

#include "Tessaly/Core/Tasks/detail/ThreadState.hpp"

namespace Tessaly::inline v1::detail {

/// Gives the job that runs in it a state of its own, and restores the state of the job below at the end.
///
/// So neither a nested drain nor an executor that runs jobs inside `enqueue` can see or change the state of the job
/// below. A job that runs directly on a thread of the pool needs no scope: no job is below it, and the thread reads its
/// state afterwards.
///
/// Thread contract: thread-compatible; lives on one thread's stack.
class JobScope {
 public:
  /// The executor that the thread holds while the job runs; null for none.
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
  /// The state of the job below, as bytes. The compiler would copy a structure member by member, with twice the
  /// instructions.
  alignas(RunningJob) std::array<std::byte, sizeof(RunningJob)> outer_;
};

}  // namespace Tessaly::inline v1::detail
