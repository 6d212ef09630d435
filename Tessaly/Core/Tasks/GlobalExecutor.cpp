// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Tasks/GlobalExecutor.hpp"

#include <sched.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <utility>

#include "Tessaly/Core/Base/FatalError.hpp"
#include "Tessaly/Core/Base/detail/FirstUse.hpp"
#include "Tessaly/Core/Base/detail/ForkGuard.hpp"
#include "Tessaly/Core/Base/detail/Futex.hpp"
#include "Tessaly/Core/Base/detail/Thread.hpp"
#include "Tessaly/Core/Locks/UnfairLock.hpp"
#include "Tessaly/Core/Tasks/SerialExecutor.hpp"
#include "Tessaly/Core/Tasks/detail/EventThread.hpp"
#include "Tessaly/Core/Tasks/detail/JobQueue.hpp"
#include "Tessaly/Core/Tasks/detail/PriorityLevel.hpp"
#include "Tessaly/Core/Tasks/detail/ThreadState.hpp"

namespace Tessaly::inline v1 {

constinit std::atomic<Executor*> GlobalExecutor::current_{nullptr};

namespace detail {
namespace {

unsigned usableCores() {
  cpu_set_t cores;
  if (::sched_getaffinity(0, sizeof(cores), &cores) != 0) return 1;
  return static_cast<unsigned>(CPU_COUNT(&cores));
}

}  // namespace

class Pool final : public Executor {
 public:
  /// On a single core a thread that spins only delays the thread that could enqueue a job.
  explicit Pool(unsigned threads) : pausesBeforeSleeping_(threads > 1 ? 300 : 0), running_(threads) {
    for (unsigned i = 0; i < threads; ++i) {
      startLibraryThread("tessaly-pool", [this] { runJobs<&Pool::take>(take()); });
    }
  }

  void enqueue(Job& job) noexcept override {
    stopIfForkedChild();
    lock_.lock();
    queue_.push(job, levelOf(job.priority()));
    unlockAndWake();
  }

  void enqueueInFamily(Job& job, JobFamily& family) noexcept override {
    stopIfForkedChild();
    lock_.lock();
    queue_.pushInFamily(job, family, levelOf(job.priority()));
    unlockAndWake();
  }

  void escalate(Job& job) noexcept override {
    UnfairLock::Guard guard(lock_);
    queue_.escalate(job);
  }

  /// Counts a thread that serves events among the threads that search for a job.
  void beginServing() {
    UnfairLock::Guard guard(lock_);
    ++searchers_;
  }
  void endServing() TESSALY_NO_THREAD_SAFETY_ANALYSIS {
    lock_.lock();
    --searchers_;
    Job* job = nullptr;
    if (sleepers_ > 0 && !isLent_) job = queue_.pop();
    if (job != nullptr) {
      // A sleeping thread stays asleep, and no longer counts among the threads that may be woken.
      isLent_ = true;
      --sleepers_;
      addToRunning(1);
    }
    unlockAndWake();
    if (job != nullptr) runJobs<&Pool::takeOrLeave>(job);
  }

 private:
  void unlockAndWake() TESSALY_RELEASE(lock_) {
    if (sleepers_ == 0) [[likely]] {
      lock_.unlock();
    } else {
      unlockAndWakeIfNeeded();
    }
  }
  /// If a job waits and no thread searches, wakes a sleeping thread. This thread counts as a searcher from now on. If
  /// more jobs wait when it has found one, it wakes the next thread.
  [[gnu::noinline]] void unlockAndWakeIfNeeded() TESSALY_RELEASE(lock_) {
    const bool wakes = !queue_.isEmpty() && searchers_ == 0;
    if (wakes) {
      --sleepers_;
      ++searchers_;
    }
    lock_.unlock();
    if (!wakes) return;
    wakeUps_.fetch_add(1, std::memory_order_release);
    futexWake(wakeUps_, 1);
  }

  void sleepUntilWoken() {
    for (;;) {
      std::uint32_t wakeUps = wakeUps_.load(std::memory_order_relaxed);
      while (wakeUps > 0) {
        if (wakeUps_.compare_exchange_weak(wakeUps, wakeUps - 1, std::memory_order_acquire)) return;
      }
      futexWait(wakeUps_, 0);
    }
  }

  /// Runs a job and then the jobs that `next` returns, until `next` returns null.
  template <Job* (Pool::*next)()>
  void runJobs(Job* job) {
    ThreadState& state = threadState;
    state.isPoolWorker = true;
    state.mayHandOver = true;
    while (job != nullptr) {
      job->runInScope();
      if (state.executor != nullptr) SerialExecutor::leaveCurrent();
      if (state.traded == nullptr) {
        job = (this->*next)();
      } else {
        job = trade(*std::exchange(state.traded, nullptr), state.tradedFamily);
      }
    }
    state.isPoolWorker = false;
    state.mayHandOver = false;
  }

  /// Queues a job after the waiting jobs, and returns the next job. If no waiting job goes before the given job,
  /// returns the given job.
  Job* trade(Job& job, JobFamily* family) TESSALY_NO_THREAD_SAFETY_ANALYSIS {
    // A job that is enqueued at this moment comes after `job`.
    if (queue_.isEmpty()) return &job;
    // Only waiting jobs of the family and of higher levels go before a job of a family.
    if (family != nullptr && !family->isWaiting.load(std::memory_order_relaxed) &&
        queue_.isEmptyFrom(levelOf(job.priority()) + 1)) {
      return &job;
    }
    const bool isUncontended = lock();
    // Read under the lock, as everywhere: a raise that comes too early to find the job in the queue is seen here.
    const unsigned level = levelOf(job.priority());
    if (family != nullptr) {
      queue_.pushInFamily(job, *family, level);
    } else if (queue_.isEmptyFrom(level)) {
      lock_.unlock();
      return &job;
    } else {
      queue_.push(job, level);
    }
    return takeLocked(isUncontended);
  }

  /// Takes the next job. Waits while the queue is empty.
  Job* take() TESSALY_NO_THREAD_SAFETY_ANALYSIS { return takeLocked(lock()); }

  /// Returns whether no other thread held the lock.
  bool lock() TESSALY_NO_THREAD_SAFETY_ANALYSIS {
    if (lock_.lockIfAvailable()) [[likely]]
      return true;
    lock_.lock();
    return false;
  }

  /// Takes the next job and releases the lock. A thread that had to wait for the lock first finds out whether the jobs
  /// are too short for two threads.
  Job* takeLocked(bool isUncontended) TESSALY_NO_THREAD_SAFETY_ANALYSIS {
    Job* const job = isUncontended ? queue_.pop() : nullptr;
    if (job == nullptr) return search();
    lock_.unlock();
    return job;
  }

  /// Takes the next job for the lent thread. If no job waits, the lent thread gives its place back to the sleeping
  /// thread.
  Job* takeOrLeave() {
    UnfairLock::Guard guard(lock_);
    Job* const job = queue_.pop();
    if (job == nullptr) {
      isLent_ = false;
      ++sleepers_;
      addToRunning(-1);
    }
    return job;
  }

  /// Waits for a job and takes it. Spins briefly before it sleeps. Releases the lock.
  [[gnu::noinline]] Job* search() TESSALY_NO_THREAD_SAFETY_ANALYSIS {
    ++searchers_;
    addToRunning(-1);
    Job* job = nullptr;
    while (job == nullptr) {
      lock_.unlock();
      spin();
      lock_.lock();
      job = queue_.pop();
      if (job != nullptr) break;
      --searchers_;
      ++sleepers_;
      lock_.unlock();
      sleepUntilWoken();
      lock_.lock();
      job = queue_.pop();
    }
    --searchers_;
    addToRunning(1);
    unlockAndWake();
    return job;
  }

  /// Returns when a job waits that this thread should take, or when no job has come for a while.
  void spin() TESSALY_NO_THREAD_SAFETY_ANALYSIS {
    for (int pauses = 0; pauses < pausesBeforeSleeping_ && queue_.isEmpty(); ++pauses) pauseProcessor();
    if (pausesBeforeSleeping_ > 0 && !queue_.isEmpty()) leaveShortJobs();
  }

  /// Returns when the other threads take less than one job in `shortJob` each. Shorter jobs are done sooner by the
  /// threads that are already at them: the lock, the job and its task would move from one processor to another.
  void leaveShortJobs() TESSALY_NO_THREAD_SAFETY_ANALYSIS {
    for (auto delay = firstDelay;; delay = std::min(2 * delay, maximumDelay)) {
      const unsigned others = running();
      if (others == 0) return;
      const std::uint32_t takenBefore = queue_.taken();
      const auto end = std::chrono::steady_clock::now() + delay;
      while (std::chrono::steady_clock::now() < end) pauseProcessor();
      if (queue_.taken() - takenBefore < delay / shortJob * others) return;
    }
  }

  [[nodiscard]] unsigned running() const { return running_.load(std::memory_order_relaxed); }
  void addToRunning(int difference) TESSALY_REQUIRES(lock_) {
    running_.store(running() + static_cast<unsigned>(difference), std::memory_order_relaxed);
  }

  static constexpr std::chrono::nanoseconds shortJob{200};
  /// For so long the jobs are counted at first.
  static constexpr std::chrono::nanoseconds firstDelay{600};
  /// The longest time between two decisions. If a long job begins in between, the first decision may miss this job, and
  /// the second one sees it. So waiting jobs are left alone for at most twice this time.
  static constexpr std::chrono::nanoseconds maximumDelay{8 * firstDelay};

  const int pausesBeforeSleeping_;
  UnfairLock lock_;
  /// The threads that look for a job, or have been woken to do so, or serve events and look for a job afterwards.
  unsigned searchers_ TESSALY_GUARDED_BY(lock_) = 0;
  unsigned sleepers_ TESSALY_GUARDED_BY(lock_) = 0;
  /// Whether an event thread runs jobs now, in the place of a sleeping thread. The other event thread keeps waiting for
  /// events.
  bool isLent_ TESSALY_GUARDED_BY(lock_) = false;
  /// The threads that run jobs. Written under the lock, read without it.
  std::atomic<unsigned> running_;
  JobQueue queue_ TESSALY_GUARDED_BY(lock_);
  alignas(64) std::atomic<std::uint32_t> wakeUps_{0};
};

namespace {

/// The pool, unless the host installed an executor of its own.
constinit std::atomic<Pool*> ownPool{nullptr};

}  // namespace

void EventThread::beginServing() noexcept {
  threadState.servesTimers = true;
  pool_ = ownPool.load(std::memory_order_acquire);
  if (pool_ != nullptr) pool_->beginServing();
}

void EventThread::endServing() noexcept {
  threadState.servesTimers = false;
  if (pool_ != nullptr) pool_->endServing();
}

}  // namespace detail

Executor& GlobalExecutor::make() noexcept {
  // Threads that arrive here together wait for the thread that makes the pool. If the host installed an executor, no
  // pool is made.
  Executor& pool = detail::madeOnce<[] {
    Executor* installed = current_.load(std::memory_order_acquire);
    if (installed != nullptr) return installed;
    auto* const pool = new detail::Pool(detail::usableCores());
    detail::ownPool.store(pool, std::memory_order_release);
    return static_cast<Executor*>(pool);
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
