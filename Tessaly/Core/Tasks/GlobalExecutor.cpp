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
#include "Tessaly/Core/Tasks/detail/EventThread.hpp"
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
  explicit Pool(unsigned threads) : pausesBeforeSleeping_(threads > 1 ? 300 : 0) {
    for (unsigned i = 0; i < threads; ++i) {
      startLibraryThread("tessaly-pool", [this] { runJobs<&Pool::take>(take()); });
    }
  }

  void enqueue(Job& job) noexcept override {
    stopIfForkedChild();
    lock_.lock();
    push(job, levelOf(job.priority()));
    unlockAndWake();
  }

  void enqueueInFamily(Job& job, JobFamily& family) noexcept override {
    stopIfForkedChild();
    lock_.lock();
    pushInFamily(job, family, levelOf(job.priority()));
    unlockAndWake();
  }

  void escalate(Job& job) noexcept override {
    UnfairLock::Guard guard(lock_);
    if (job.level < 0) return;
    remove(job);
    push(job, levelOf(job.priority()));
  }

  /// Counts a thread that serves events among the threads that find a job by themselves.
  void beginServing() {
    UnfairLock::Guard guard(lock_);
    ++spinners_;
  }
  void endServing() TESSALY_NO_THREAD_SAFETY_ANALYSIS {
    lock_.lock();
    --spinners_;
    if (count_ == 0 || sleepers_ == 0 || isLent_) {
      unlockAndWake();
      return;
    }
    // A sleeping thread stays asleep, and no longer counts among the threads that may be woken.
    isLent_ = true;
    --sleepers_;
    Job* const job = pop();
    lock_.unlock();
    runJobs<&Pool::takeOrLeave>(job);
  }

 private:
  void push(Job& job, unsigned level) TESSALY_REQUIRES(lock_) {
    job.level = static_cast<signed char>(level);
    jobs_[level].append(job);
    setFilled(filled() | bitOfJobs(level));
    ++count_;
  }

  /// Queues the job after the other jobs of the family. A job of another priority waits as a single job.
  void pushInFamily(Job& job, JobFamily& family, unsigned level) TESSALY_REQUIRES(lock_) {
    if (const Job* const sibling = family.jobs.first(); sibling == nullptr) {
      families_[level].prepend(family);
      family.isWaiting.store(true, std::memory_order_relaxed);
      setFilled(filled() | bitOfFamilies(level));
    } else if (sibling->level != static_cast<signed char>(level)) {
      push(job, level);
      return;
    }
    job.level = static_cast<signed char>(level);
    job.family = &family;
    family.jobs.append(job);
    ++count_;
  }

  Job* pop() TESSALY_REQUIRES(lock_) {
    const unsigned lists = filled();
    if (lists == 0) return nullptr;
    --count_;
    if (lists < bitOfFamilies(0)) return popSingle(highestOf(lists));
    const unsigned level = highestOf(levelsOf(lists));
    JobFamily* const family = familyWithTurn(level);
    return family != nullptr ? popOf(*family, level) : popSingle(level);
  }
  Job* popSingle(unsigned level) TESSALY_REQUIRES(lock_) {
    Job* const job = jobs_[level].popFirst();
    if (jobs_[level].isEmpty()) setFilled(filled() & ~bitOfJobs(level));
    job->level = -1;
    return job;
  }
  Job* popOf(JobFamily& family, unsigned level) TESSALY_REQUIRES(lock_) {
    Job* const job = family.jobs.popFirst();
    if (family.jobs.isEmpty()) removeFamily(family, level);
    job->family = nullptr;
    job->level = -1;
    return job;
  }

  /// The family that runs a job now, or null if a single job has the turn. Usually it is the newest family. Every 16th
  /// turn goes to a single job if one waits, and every 1024th turn to the oldest family. So each job has its turn at
  /// some time.
  JobFamily* familyWithTurn(unsigned level) TESSALY_REQUIRES(lock_) {
    JobFamily* const newest = families_[level].first();
    if (newest == nullptr || ++turn_ % turnsOfFamilies != 0) [[likely]]
      return newest;
    if (turn_ % turnsOfNewestFamilies == 0) return families_[level].last();
    return jobs_[level].isEmpty() ? newest : nullptr;
  }

  /// Takes out a job that waits.
  void remove(Job& job) TESSALY_REQUIRES(lock_) {
    const unsigned level = static_cast<unsigned char>(job.level);
    if (JobFamily* const family = std::exchange(job.family, nullptr)) {
      family->jobs.remove(job);
      if (family->jobs.isEmpty()) removeFamily(*family, level);
    } else {
      jobs_[level].remove(job);
      if (jobs_[level].isEmpty()) setFilled(filled() & ~bitOfJobs(level));
    }
    --count_;
  }
  void removeFamily(JobFamily& family, unsigned level) TESSALY_REQUIRES(lock_) {
    families_[level].remove(family);
    family.isWaiting.store(false, std::memory_order_relaxed);
    if (families_[level].isEmpty()) setFilled(filled() & ~bitOfFamilies(level));
  }

  static constexpr unsigned bitOfJobs(unsigned level) { return 1u << level; }
  static constexpr unsigned bitOfFamilies(unsigned level) {
    // NOLINTNEXTLINE(clang-analyzer-core.BitwiseShift): `level` is that of a list that is not empty.
    return 1u << (level + priorityLevelCount);
  }
  [[nodiscard]] unsigned filled() const { return filled_.load(std::memory_order_relaxed); }
  void setFilled(unsigned filled) TESSALY_REQUIRES(lock_) { filled_.store(filled, std::memory_order_relaxed); }
  /// The levels at which something waits.
  static constexpr unsigned levelsOf(unsigned filled) {
    return (filled | filled >> priorityLevelCount) & (bitOfFamilies(0) - 1);
  }

  static constexpr unsigned highestOf(unsigned levels) { return static_cast<unsigned>(std::bit_width(levels) - 1); }

  void unlockAndWake() TESSALY_RELEASE(lock_) {
    if (sleepers_ == 0) [[likely]] {
      lock_.unlock();
    } else {
      unlockAndWakeIfNeeded();
    }
  }
  [[gnu::noinline]] void unlockAndWakeIfNeeded() TESSALY_RELEASE(lock_) {
    const bool wakes = claimSleeper();
    lock_.unlock();
    if (wakes) wakeOne();
  }

  /// Whether a sleeping thread must be woken. If so, that thread counts as awake from now on, so each thread is woken
  /// once. A thread that spins finds its job by itself.
  bool claimSleeper() TESSALY_REQUIRES(lock_) {
    if (count_ <= spinners_) return false;
    --sleepers_;
    return true;
  }

  void wakeOne() {
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
  Job* trade(Job& job, JobFamily* family) {
    // A job that is enqueued at this moment comes after `job`.
    if (filled() == 0) return &job;
    if (family != nullptr) return tradeInFamily(job, *family);
    UnfairLock::Guard guard(lock_);
    // Read under the lock, as everywhere: a raise that comes too early to find the job in the queue is seen here.
    const unsigned level = levelOf(job.priority());
    if (filled() >> level == 0) return &job;
    push(job, level);
    return pop();
  }
  /// The same for a job of a family. Only waiting jobs of the family and of higher levels go before it.
  Job* tradeInFamily(Job& job, JobFamily& family) {
    const unsigned higher = levelsOf(filled()) >> (levelOf(job.priority()) + 1);
    if (higher == 0 && !family.isWaiting.load(std::memory_order_relaxed)) return &job;
    UnfairLock::Guard guard(lock_);
    pushInFamily(job, family, levelOf(job.priority()));
    return pop();
  }

  /// Takes the next job. Waits while the queue is empty.
  Job* take() TESSALY_NO_THREAD_SAFETY_ANALYSIS {
    lock_.lock();
    Job* job = pop();
    if (job == nullptr) return waitForJob();
    lock_.unlock();
    return job;
  }

  /// Takes the next job for the lent thread. If no job waits, the lent thread gives its place back to the sleeping
  /// thread.
  Job* takeOrLeave() {
    UnfairLock::Guard guard(lock_);
    Job* const job = pop();
    if (job == nullptr) {
      isLent_ = false;
      ++sleepers_;
    }
    return job;
  }

  /// Waits for a job and takes it. Spins briefly before it sleeps. Releases the lock.
  [[gnu::noinline]] Job* waitForJob() TESSALY_NO_THREAD_SAFETY_ANALYSIS {
    Job* job = nullptr;
    while (job == nullptr) {
      ++spinners_;
      lock_.unlock();
      for (int pauses = 0; pauses < pausesBeforeSleeping_ && filled() == 0; ++pauses) {
        pauseProcessor();
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

  /// After this number of turns of families, a single job has a turn.
  static constexpr std::uint32_t turnsOfFamilies = 16;
  /// After this number of turns, the oldest family has a turn. Such turns are rare, because each family that begins to
  /// run takes memory.
  static constexpr std::uint32_t turnsOfNewestFamilies = 1024;

  const int pausesBeforeSleeping_;
  UnfairLock lock_;
  /// For each level the single jobs, the oldest first, and the families, the newest first.
  std::array<JobList, priorityLevelCount> jobs_ TESSALY_GUARDED_BY(lock_);
  std::array<LinkedNodes<JobFamily>, priorityLevelCount> families_ TESSALY_GUARDED_BY(lock_);
  std::uint32_t turn_ TESSALY_GUARDED_BY(lock_) = 0;
  unsigned count_ TESSALY_GUARDED_BY(lock_) = 0;
  unsigned spinners_ TESSALY_GUARDED_BY(lock_) = 0;
  unsigned sleepers_ TESSALY_GUARDED_BY(lock_) = 0;
  /// Whether an event thread runs jobs now, in the place of a sleeping thread. The other event thread keeps waiting for
  /// events.
  bool isLent_ TESSALY_GUARDED_BY(lock_) = false;
  /// The levels at which jobs or families wait. Written under the lock, read without it. Threads that spin stay off the
  /// lock's cache line.
  alignas(64) std::atomic<unsigned> filled_{0};
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
