// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Tasks/SyncWait.hpp"

#include "Tessaly/Core/Base/FatalError.hpp"
#include "Tessaly/Core/Base/detail/Futex.hpp"
#include "Tessaly/Core/Tasks/BlockingWork.hpp"
#include "Tessaly/Core/Tasks/MainQueue.hpp"
#include "Tessaly/Core/Tasks/detail/MainQueueWait.hpp"

namespace Tessaly::inline v1::detail {
namespace {

// The states of a wait.
constexpr std::uint32_t running = 0;
constexpr std::uint32_t done = 1;
/// Running, and a thread sleeps until the end. The main thread never sets this state, because it serves its queue.
constexpr std::uint32_t sleeps = 2;

}  // namespace

void checkMayWait() noexcept {
  if (MainQueue::isMainThread()) return;
  if (threadState.isPoolWorker || threadState.executor != nullptr || threadState.isAboveSerialJob) {
    fatalError("syncWait was called on a thread of the pool or in a job of a serial executor, where it would deadlock",
               "Tessaly/SyncWait", __LINE__);
  }
}

void runAndWait(TaskRecord& task, std::atomic<std::uint32_t>& isDone) noexcept {
  task.start();
  if (MainQueue::isMainThread()) {
    serveMainQueueUntil(isDone);  // The task ends in a job of the main queue.
    return;
  }
  const BlockingThreadWait wait;
  std::uint32_t state = running;
  isDone.compare_exchange_strong(state, sleeps, std::memory_order_relaxed);
  while (isDone.load(std::memory_order_acquire) == sleeps) futexWait(isDone, sleeps);
}

void completeWait(std::atomic<std::uint32_t>& isDone) noexcept {
  if (isDone.exchange(done, std::memory_order_acq_rel) == sleeps) futexWake(isDone, 1);
}

}  // namespace Tessaly::inline v1::detail
