// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Tasks/SyncWait.hpp"

#include <poll.h>

#include "Tessaly/Core/Base/FatalError.hpp"
#include "Tessaly/Core/Base/detail/Futex.hpp"
#include "Tessaly/Core/Tasks/BlockingWork.hpp"
#include "Tessaly/Core/Tasks/MainQueue.hpp"

namespace Tessaly::inline v1::detail {

void checkMayWait() noexcept {
  if (MainQueue::isMainThread()) return;
  if (threadState.isPoolWorker || threadState.executor != nullptr || threadState.isAboveSerialJob) {
    fatalError("syncWait was called on a thread of the pool or in a job of a serial executor, where it would deadlock",
               "Tessaly/SyncWait", __LINE__);
  }
}

void runAndWait(TaskRecord& task, std::atomic<std::uint32_t>& isDone) noexcept {
  task.start();
  if (!MainQueue::isMainThread()) {
    const BlockingThreadWait wait;
    while (isDone.load(std::memory_order_acquire) == 0) futexWait(isDone, 0);
    return;
  }
  while (isDone.load(std::memory_order_acquire) == 0) {
    if (MainQueue::drain() > 0 || isDone.load(std::memory_order_acquire) != 0) continue;
    pollfd waited{MainQueue::fileDescriptor(), POLLIN, 0};
    ::poll(&waited, 1, -1);
  }
}

void completeWait(std::atomic<std::uint32_t>& isDone) noexcept {
  isDone.store(1, std::memory_order_release);
  futexWake(isDone, 1);
}

}  // namespace Tessaly::inline v1::detail
