// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Tasks/GlobalExecutor.hpp"

#include <sched.h>

#include <array>
#include <bit>
#include <utility>

#include "Tessaly/Core/Base/FatalError.hpp"
#include "Tessaly/Core/Base/detail/FirstUse.hpp"
#include "Tessaly/Core/Base/detail/ForkGuard.hpp"
#include "Tessaly/Core/Base/detail/Futex.hpp"
#include "Tessaly/Core/Base/detail/Thread.hpp"
#include "Tessaly/Core/Locks/UnfairLock.hpp"
#include "Tessaly/Core/Tasks/SerialExecutor.hpp"
#include "Tessaly/Core/Tasks/detail/PriorityLevel.hpp"
#include "Tessaly/Core/Tasks/detail/ThreadState.hpp"

namespace Tessaly::inline v1 {

constinit std::atomic<Executor*> GlobalExecutor::current_{nullptr};

namespace {

unsigned usableCores() {
  cpu_set_t cores;
  if (::sched_getaffinity(0, sizeof(cores), &cores) != 0) return 1;
  return static_cast<unsigned>(CPU_COUNT(&cores));
}

class Pool final : public Executor {
 public:
  explicit Pool(unsigned threads) {
    for (unsigned i = 0; i < threads; ++i) {
      detail::startLibraryThread("tessaly-pool", [this] { work(); });
    }
  }

  void enqueue(Job& job) noexcept override {
    detail::stopIfForkedChild();
    lock_.lock();
    push(job);
    const bool wakes = claimSleeper();
    lock_.unlock();
    if (wakes) wakeOne();
  }

  void escalate(Job& job) noexcept override {
    UnfairLock::Guard guard(lock_);
    if (job.level < 0) return;
    auto& list = lists_[static_cast<unsigned char>(job.level)];
    list.remove(job);
    if (list.isEmpty()) filled_ &= ~(1u << job.level);
    count_.store(count_.load(std::memory_order_relaxed) - 1, std::memory_order_relaxed);
    push(job);
  }

 private:
  void push(Job& job) TESSALY_REQUIRES(lock_) {
    const unsigned level = detail::levelOf(job.priority());
    job.level = static_cast<signed char>(level);
    lists_[level].append(job);
    filled_ |= 1u << level;
    count_.store(count_.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
  }

  Job* pop() TESSALY_REQUIRES(lock_) {
    if (filled_ == 0) return nullptr;
    const auto level = std::bit_width(filled_) - 1;
    auto& list = lists_[level];
    Job* job = list.popFirst();
    job->level = -1;
    if (list.isEmpty()) filled_ &= ~(1u << level);
    count_.store(count_.load(std::memory_order_relaxed) - 1, std::memory_order_relaxed);
    return job;
  }

  /// Whether a sleeping thread must be woken, which then counts as awake: each is woken once. A thread that spins finds
  /// its job by itself.
  bool claimSleeper() TESSALY_REQUIRES(lock_) {
    if (sleepers_ == 0 || count_.load(std::memory_order_relaxed) <= spinners_) return false;
    --sleepers_;
    return true;
  }

  void wakeOne() {
    wakeUps_.fetch_add(1, std::memory_order_release);
    detail::futexWake(wakeUps_, 1);
  }

  void sleepUntilWoken() {
    for (;;) {
      std::uint32_t wakeUps = wakeUps_.load(std::memory_order_relaxed);
      while (wakeUps > 0) {
        if (wakeUps_.compare_exchange_weak(wakeUps, wakeUps - 1, std::memory_order_acquire)) return;
      }
      detail::futexWait(wakeUps_, 0);
    }
  }

  [[noreturn]] void work() {
    detail::ThreadState& state = detail::threadState;
    state.isPoolWorker = true;
    state.mayHandOver = true;
    for (Job* job = take();;) {
      job->runInScope();
      if (state.executor != nullptr) SerialExecutor::leaveCurrent();
      job = state.traded != nullptr ? trade(*std::exchange(state.traded, nullptr)) : take();
    }
  }

  /// Puts a job behind those that wait, and gives the next: itself, if none waits that goes before it.
  Job* trade(Job& job) {
    // A job that comes at this moment comes after this one.
    if (count_.load(std::memory_order_relaxed) == 0) return &job;
    UnfairLock::Guard guard(lock_);
    if (filled_ >> detail::levelOf(job.priority()) == 0) return &job;
    push(job);
    return pop();
  }

  /// The next job; waits for one.
  Job* take() TESSALY_NO_THREAD_SAFETY_ANALYSIS {
    lock_.lock();
    Job* job = pop();
    if (job == nullptr) return waitForJob();
    lock_.unlock();
    return job;
  }

  /// Spins shortly before it sleeps. Releases the lock.
  [[gnu::noinline]] Job* waitForJob() TESSALY_NO_THREAD_SAFETY_ANALYSIS {
    Job* job = nullptr;
    while (job == nullptr) {
      ++spinners_;
      lock_.unlock();
      for (int pauses = 0; pauses < pausesBeforeSleeping && count_.load(std::memory_order_relaxed) == 0; ++pauses) {
        detail::pauseProcessor();
      }
      lock_.lock();
      --spinners_;
      job = pop();
      if (job != nullptr) break;
      ++sleepers_;
      lock_.unlock();
      sleepUntilWoken();
      lock_.lock();
      job = pop();
    }
    lock_.unlock();
    return job;
  }

  static constexpr int pausesBeforeSleeping = 300;

  UnfairLock lock_;
  std::array<JobList, detail::priorityLevelCount> lists_ TESSALY_GUARDED_BY(lock_);
  unsigned filled_ TESSALY_GUARDED_BY(lock_) = 0;
  unsigned spinners_ TESSALY_GUARDED_BY(lock_) = 0;
  unsigned sleepers_ TESSALY_GUARDED_BY(lock_) = 0;
  /// Written under the lock, read without it. Threads that spin stay off the lock's cache line.
  alignas(64) std::atomic<unsigned> count_{0};
  alignas(64) std::atomic<std::uint32_t> wakeUps_{0};
};

}  // namespace

Executor& GlobalExecutor::make() noexcept {
  // Every thread that comes here at once waits for the one that makes the pool, unless the host installed its own.
  Executor& pool = detail::madeOnce<[] {
    Executor* installed = current_.load(std::memory_order_acquire);
    return installed != nullptr ? installed : new Pool(usableCores());
  }>();
  Executor* expected = nullptr;
  current_.compare_exchange_strong(expected, &pool, std::memory_order_acq_rel);
  return *current_.load(std::memory_order_acquire);
}

void GlobalExecutor::install(Executor& executor) noexcept {
  Executor* expected = nullptr;
  if (!current_.compare_exchange_strong(expected, &executor, std::memory_order_acq_rel)) {
    fatalError("A global executor was installed after the first use of one", "Tessaly/GlobalExecutor", __LINE__);
  }
}

}  // namespace Tessaly::inline v1
