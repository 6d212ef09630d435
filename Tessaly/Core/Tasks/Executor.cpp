// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Tasks/Executor.hpp"

#include "Tessaly/Core/Base/FatalError.hpp"
#include "Tessaly/Core/Tasks/GlobalExecutor.hpp"
#include "Tessaly/Core/Tasks/detail/JobScope.hpp"

namespace Tessaly::inline v1 {
namespace {

/// Passes a job to the global executor. Called when an executor runs the job on a thread that serves timers.
void runElsewhere(Job& job) noexcept {
  detail::ThreadState& state = detail::threadState;
  if (state.isForwarding) {
    fatalError("The global executor ran a job inside enqueue(), on the thread that serves timers", "Tessaly/Executor",
               __LINE__);
  }
  state.isForwarding = true;
  GlobalExecutor::shared().enqueue(job);
  state.isForwarding = false;
}

}  // namespace

void Job::run() noexcept {
  if (detail::threadState.servesTimers) [[unlikely]] {
    runElsewhere(*this);
    return;
  }
  const detail::JobScope scope(nullptr);
  runInScope();
}

}  // namespace Tessaly::inline v1
