// SPDX-License-Identifier: MIT
#pragma once

#include "Tessaly/Core/Tasks/detail/ThreadState.hpp"

namespace Tessaly::inline v1::detail {

/// Gives the job that runs in it a state of its own, and restores the state of the job below at the end.
///
/// Every job runs in such a scope. So neither a nested drain nor an executor that runs jobs inside `enqueue` can see or
/// change the state of the job below. A thread of the pool is a scope by itself: it reads the job's state after each
/// job.
///
/// Thread contract: thread-compatible; lives on one thread's stack.
class JobScope {
 public:
  /// The executor that the thread holds while the job runs; null for none.
  explicit JobScope(Executor* executor) noexcept : outer_(static_cast<const RunningJob&>(threadState)) {
    static_cast<RunningJob&>(threadState) = {
        .task = nullptr,
        .executor = executor,
        .bindings = nullptr,
        .traded = nullptr,
        .tradedFamily = nullptr,
        .completed = nullptr,
        .mayHandOver = false,
        .isAboveSerialJob = outer_.isAboveSerialJob || outer_.executor != nullptr,
    };
  }
  ~JobScope() { static_cast<RunningJob&>(threadState) = outer_; }
  JobScope(const JobScope&) = delete;
  JobScope& operator=(const JobScope&) = delete;

 private:
  const RunningJob outer_;
};

}  // namespace Tessaly::inline v1::detail
