// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Tasks/MainQueue.hpp"

#include <pthread.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <atomic>
#include <bit>
#include <chrono>
#include <cstdint>
#include <string>
#include <utility>

#include "Tessaly/Core/Base/FatalError.hpp"
#include "Tessaly/Core/Base/ThreadIdentifier.hpp"
#include "Tessaly/Core/Base/detail/FirstUse.hpp"
#include "Tessaly/Core/Base/detail/ForkGuard.hpp"
#include "Tessaly/Core/Base/detail/Futex.hpp"
#include "Tessaly/Core/Locks/UnfairLock.hpp"
#include "Tessaly/Core/Logging/detail/PlatformLog.hpp"
#include "Tessaly/Core/Tasks/Clock.hpp"
#include "Tessaly/Core/Tasks/Isolation.hpp"
#include "Tessaly/Core/Tasks/detail/JobScope.hpp"
#include "Tessaly/Core/Tasks/detail/MainQueueWait.hpp"
#include "Tessaly/Core/Tasks/detail/TaskRecord.hpp"
#include "Tessaly/Core/Tasks/detail/ThreadState.hpp"

namespace Tessaly::inline v1 {
namespace {

/// The main thread's identifier. It is 0 until `adopt()` or the first use of the identifier sets it.
constinit std::atomic<std::uint32_t> mainThread{0};

/// Called before the identifier is set. The thread that forks is the only thread of the child, so it becomes the
/// child's main thread.
void followForks() noexcept {
  detail::callInForkedChildren<[] {
    mainThread.store(static_cast<std::uint32_t>(::getpid()), std::memory_order_relaxed);
  }>();
}

std::uint32_t mainThreadIdentifier() noexcept {
  std::uint32_t known = mainThread.load(std::memory_order_relaxed);
  if (known == 0) {
    followForks();
    const auto process = static_cast<std::uint32_t>(::getpid());
    known = mainThread.compare_exchange_strong(known, process, std::memory_order_relaxed) ? process : known;
  }
  return known;
}

constexpr std::chrono::seconds secondsBetweenLooks{2};

class Queue final : public Executor {
 public:
  Queue() : descriptor_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (descriptor_ < 0) fatalError("The main queue could not make its descriptor", "Tessaly/MainQueue", __LINE__);
  }

  static Queue& shared() {
    return detail::madeOnce<[] { return new Queue; }>();
  }

  [[nodiscard]] int descriptor() const { return descriptor_; }

  void enqueue(Job& job) noexcept override {
    detail::stopIfForkedChild();
    lock_.lock();
    jobs_.append(job);
    ++enqueued_;
    const bool wakes = claimSleeper();
    const bool signals = !wakes && claimSignal();
    const bool watches = !isWatched_;
    isWatched_ = true;
    lock_.unlock();
    if (wakes) detail::futexWake(wakeUps_, 1);
    if (signals) signal();
    if (watches) watchForForgottenLoop();
  }

  /// One call of `run`.
  struct Run {
    Run* outer = nullptr;
    bool isStopped = false;
  };

  /// Runs the waiting jobs. Stops early when `run` is stopped.
  std::size_t drain(const Run* run) {
    std::size_t count = 0;
    lock_.lock();
    ++services_;
    if (jobs_.isEmpty()) quieten();  // A signal may arrive after the drain that served its job.
    const std::uint64_t last = enqueued_;
    while (dequeued_ < last && (run == nullptr || !run->isStopped)) {
      Job* job = jobs_.popFirst();
      ++dequeued_;
      // While other jobs wait, the descriptor stays readable: the job may run a loop that polls it.
      if (jobs_.isEmpty() && isSignalled_) quieten();
      lock_.unlock();
      {
        const detail::JobScope scope(this);
        job->runInScope();
      }
      ++count;
      lock_.lock();
    }
    --services_;
    lock_.unlock();
    return count;
  }

  void run() {
    Run run;
    {
      UnfairLock::Guard guard(lock_);
      run.isStopped = std::exchange(stopsNextRun_, false);
      run.outer = std::exchange(innermost_, &run);
      ++services_;
    }
    while (sleepUntilJob(&run)) drain(&run);
    lock_.lock();
    innermost_ = run.outer;
    --services_;
    // A job that woke this loop and did not run is left to the host's loop.
    const bool signals = !jobs_.isEmpty() && claimSignal();
    lock_.unlock();
    if (signals) signal();
  }

  void runUntil(const std::atomic<std::uint32_t>& isDone) {
    while (isDone.load(std::memory_order_acquire) == 0) {
      sleepUntilJob(nullptr);
      drain(nullptr);
    }
  }

  void stop() {
    lock_.lock();
    (innermost_ != nullptr ? innermost_->isStopped : stopsNextRun_) = true;
    const bool wakes = claimSleeper();
    lock_.unlock();
    if (wakes) detail::futexWake(wakeUps_, 1);
  }

  void changeServices(int change) {
    UnfairLock::Guard guard(lock_);
    services_ += change;
  }

 private:
  void signal() const {
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t size = ::write(descriptor_, &one, sizeof(one));
  }

  /// Sleeps until a job waits. Returns false once the run is stopped. While the main thread sleeps here, no other loop
  /// can serve the queue. So a new job wakes the thread and does not touch the descriptor.
  bool sleepUntilJob(const Run* run) {
    for (;;) {
      std::uint32_t seen = 0;
      {
        UnfairLock::Guard guard(lock_);
        const bool isStopped = run != nullptr && run->isStopped;
        isAsleep_ = jobs_.isEmpty() && !isStopped;
        if (!isAsleep_) return !isStopped;
        seen = wakeUps_.load(std::memory_order_relaxed);
      }
      detail::futexWait(wakeUps_, seen);
    }
  }
  /// Whether the main thread sleeps and must be woken. True once for each sleep.
  bool claimSleeper() TESSALY_REQUIRES(lock_) {
    if (!std::exchange(isAsleep_, false)) return false;
    wakeUps_.store(wakeUps_.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    return true;
  }

  /// Whether the caller must make the descriptor readable.
  bool claimSignal() TESSALY_REQUIRES(lock_) { return !std::exchange(isSignalled_, true); }

  /// Makes the descriptor unreadable. No signal is lost: the next call of `enqueue` signals anew.
  void quieten() TESSALY_REQUIRES(lock_) {
    isSignalled_ = false;
    std::uint64_t value = 0;
    [[maybe_unused]] const ssize_t size = ::read(descriptor_, &value, sizeof(value));
  }

  /// Arms a timer that checks after 2 s whether work still waits and no job was taken.
  void watchForForgottenLoop() {
    watch_.arm(ContinuousClock::shared(), ContinuousClock::shared().now() + secondsBetweenLooks);
  }

  void look() {
    std::chrono::seconds reported{0};
    {
      UnfairLock::Guard guard(lock_);
      if (jobs_.isEmpty()) {
        isWatched_ = false;
        return;
      }
      const bool isTaken = std::exchange(seenDequeued_, dequeued_) != dequeued_;
      stalled_ = isTaken ? std::chrono::seconds(0) : stalled_ + secondsBetweenLooks;
      // Each report of a busy thread comes after twice the time of the last report.
      if (std::has_single_bit(static_cast<unsigned>(stalled_.count()))) reported = stalled_;
      // After the report of a forgotten loop, `isWatched_` stays set, so that the report comes once.
      if (stalled_.count() > 0 && services_ == 0) reported = std::chrono::seconds(-1);
    }
    if (reported.count() < 0) {
      detail::logPlatformError("MainQueue",
                               "Work for the main thread has been waiting for 2 s: nobody drains the main queue. Call "
                               "MainQueue::run(), or watch MainQueue::fileDescriptor() and call MainQueue::drain().");
      return;
    }
    if (reported.count() > 0) {
      detail::logPlatformNotice("MainQueue", "The main thread has been busy for at least " +
                                                 std::to_string(reported.count()) + " s while work for it waits.");
    }
    watchForForgottenLoop();
  }

  struct Watch final : ClockTimer {
    Watch() : ClockTimer([](ClockTimer&) noexcept { Queue::shared().look(); }) {}
    void arm(Clock& clock, Clock::Instant deadline) {
      setDeadline(deadline);
      clock.add(*this);
    }
  };

  const int descriptor_;
  UnfairLock lock_;
  JobList jobs_ TESSALY_GUARDED_BY(lock_);
  std::uint64_t enqueued_ TESSALY_GUARDED_BY(lock_) = 0;
  std::uint64_t dequeued_ TESSALY_GUARDED_BY(lock_) = 0;
  bool isSignalled_ TESSALY_GUARDED_BY(lock_) = false;
  /// Whether the main thread sleeps in a loop of the library.
  bool isAsleep_ TESSALY_GUARDED_BY(lock_) = false;
  bool isWatched_ TESSALY_GUARDED_BY(lock_) = false;
  /// The number of loops, adapters and drains that serve the queue now.
  int services_ TESSALY_GUARDED_BY(lock_) = 0;
  Run* innermost_ TESSALY_GUARDED_BY(lock_) = nullptr;
  bool stopsNextRun_ TESSALY_GUARDED_BY(lock_) = false;
  std::uint64_t seenDequeued_ TESSALY_GUARDED_BY(lock_) = 0;
  /// The time since a job was last taken while others waited.
  std::chrono::seconds stalled_ TESSALY_GUARDED_BY(lock_){0};
  Watch watch_;
  /// Changed under the lock.
  std::atomic<std::uint32_t> wakeUps_{0};
};

}  // namespace

void MainQueue::adopt() noexcept {
  followForks();
  const std::uint32_t self = currentThreadIdentifier();
  std::uint32_t expected = 0;
  if (!mainThread.compare_exchange_strong(expected, self, std::memory_order_relaxed) && expected != self) {
    fatalError("The main thread was adopted after its first use", "Tessaly/MainQueue", __LINE__);
  }
}

bool MainQueue::isMainThread() noexcept { return currentThreadIdentifier() == mainThreadIdentifier(); }

int MainQueue::fileDescriptor() noexcept { return Queue::shared().descriptor(); }

std::size_t MainQueue::drain() noexcept {
  assertMainIsolated("Tessaly/MainQueue", __LINE__);
  return Queue::shared().drain(nullptr);
}

void MainQueue::run() noexcept {
  assertMainIsolated("Tessaly/MainQueue", __LINE__);
  Queue::shared().run();
}

void detail::serveMainQueueUntil(const std::atomic<std::uint32_t>& isDone) noexcept {
  Queue::shared().runUntil(isDone);
}

void MainQueue::stop() noexcept { Queue::shared().stop(); }

MainQueue::Service::Service() noexcept { Queue::shared().changeServices(1); }

MainQueue::Service::~Service() { Queue::shared().changeServices(-1); }

Executor& MainQueue::executor() noexcept { return Queue::shared(); }

Isolation Isolation::current() noexcept {
  const detail::ThreadState& state = detail::threadState;
  if (state.task != nullptr) return state.task->isolation();
  if (state.executor != nullptr) return Isolation(*state.executor);
  return MainQueue::isMainThread() ? Isolation::main() : Isolation();
}

void assertMainIsolated(const char* file, unsigned line) noexcept {
  if (!MainQueue::isMainThread()) {
    fatalError("Incorrect actor executor assumption; Expected same executor as MainQueue.", file, line);
  }
}

}  // namespace Tessaly::inline v1
