// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Tasks/BlockingWork.hpp"

#include "Tessaly/Core/Base/detail/FirstUse.hpp"
#include "Tessaly/Core/Base/detail/ForkGuard.hpp"
#include "Tessaly/Core/Base/detail/Futex.hpp"
#include "Tessaly/Core/Base/detail/Thread.hpp"
#include "Tessaly/Core/Locks/UnfairLock.hpp"

namespace Tessaly::inline v1::detail {
namespace {

constexpr unsigned maximumThreads = 64;
constexpr std::int64_t idleNanoseconds = 10'000'000'000;

class BlockingThreads final : public Executor {
 public:
  void enqueue(Job& job) noexcept override {
    stopIfForkedChild();
    bool starts = false;
    {
      UnfairLock::Guard guard(lock_);
      jobs_.append(job);
      ++waiting_;
      starts = claimThread();
      wakeUps_.fetch_add(1, std::memory_order_release);
    }
    if (starts) {
      startThread();
    } else {
      futexWake(wakeUps_, 1);
    }
  }

  /// A thread that waits for a task does not count, because the task may need a further thread.
  void beginWait() {
    bool starts = false;
    {
      UnfairLock::Guard guard(lock_);
      ++threadsInWait_;
      starts = claimThread();
    }
    if (starts) startThread();
  }
  void endWait() {
    UnfairLock::Guard guard(lock_);
    --threadsInWait_;
  }

 private:
  bool claimThread() TESSALY_REQUIRES(lock_) {
    if (waiting_ <= idle_ || threads_ >= maximumThreads + threadsInWait_) return false;
    ++threads_;
    ++idle_;  // The new thread counts as idle until it takes a job.
    return true;
  }

  void startThread() {
    startLibraryThread("tessaly-block", [this] { work(); });
  }

  void work() {
    threadState.isBlockingThread = true;
    for (;;) {
      Job* job = nullptr;
      std::uint32_t seen = 0;
      {
        UnfairLock::Guard guard(lock_);
        seen = wakeUps_.load(std::memory_order_relaxed);
        job = jobs_.popFirst();
        if (job != nullptr) {
          --waiting_;
          --idle_;
        }
      }
      if (job != nullptr) {
        job->run();
        UnfairLock::Guard guard(lock_);
        ++idle_;
        continue;
      }
      if (!futexWaitFor(wakeUps_, seen, idleNanoseconds)) {
        UnfairLock::Guard guard(lock_);
        if (!jobs_.isEmpty()) continue;
        --threads_;
        --idle_;
        return;
      }
    }
  }

  UnfairLock lock_;
  JobList jobs_ TESSALY_GUARDED_BY(lock_);
  unsigned waiting_ TESSALY_GUARDED_BY(lock_) = 0;
  unsigned idle_ TESSALY_GUARDED_BY(lock_) = 0;
  unsigned threads_ TESSALY_GUARDED_BY(lock_) = 0;
  unsigned threadsInWait_ TESSALY_GUARDED_BY(lock_) = 0;
  std::atomic<std::uint32_t> wakeUps_{0};
};

BlockingThreads& blockingThreads() {
  return madeOnce<[] { return new BlockingThreads; }>();
}

}  // namespace

Executor& blockingExecutor() noexcept { return blockingThreads(); }

BlockingThreadWait::BlockingThreadWait() noexcept {
  if (threadState.isBlockingThread) blockingThreads().beginWait();
}

BlockingThreadWait::~BlockingThreadWait() {
  if (threadState.isBlockingThread) blockingThreads().endWait();
}

}  // namespace Tessaly::inline v1::detail
