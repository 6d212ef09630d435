// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Tasks/BlockingWork.hpp"

#include "Tessaly/Core/Base/ForkGuard.hpp"
#include "Tessaly/Core/Base/Futex.hpp"
#include "Tessaly/Core/Base/Thread.hpp"
#include "Tessaly/Core/Locks/UnfairLock.hpp"

namespace Tessaly::inline v1::detail {
namespace {

constexpr unsigned mostThreads = 64;
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
      if (waiting_ > idle_ && threads_ < mostThreads) {
        ++threads_;
        ++idle_;  // The new thread counts as idle until it takes a job.
        starts = true;
      }
      wakeUps_.fetch_add(1, std::memory_order_release);
    }
    if (starts) {
      startLibraryThread("tessaly-block", [this] { work(); });
    } else {
      futexWake(wakeUps_, 1);
    }
  }

 private:
  void work() {
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
  std::atomic<std::uint32_t> wakeUps_{0};
};

}  // namespace

Executor& blockingExecutor() noexcept {
  static auto* const threads = new BlockingThreads;
  return *threads;
}

}  // namespace Tessaly::inline v1::detail
