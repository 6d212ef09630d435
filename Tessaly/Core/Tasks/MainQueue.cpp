// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Tasks/MainQueue.hpp"

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>

#include "Tessaly/Core/Base/FatalError.hpp"
#include "Tessaly/Core/Base/ForkGuard.hpp"
#include "Tessaly/Core/Base/ThreadIdentifier.hpp"
#include "Tessaly/Core/Locks/UnfairLock.hpp"
#include "Tessaly/Core/Logging/detail/PlatformLog.hpp"
#include "Tessaly/Core/Tasks/Clock.hpp"
#include "Tessaly/Core/Tasks/Isolation.hpp"
#include "Tessaly/Core/Tasks/detail/TaskRecord.hpp"
#include "Tessaly/Core/Tasks/detail/ThreadState.hpp"

namespace Tessaly::inline v1 {
namespace {

/// The main thread's identifier; 0 while nobody asked, which fixes it.
constinit std::atomic<std::uint32_t> mainThread{0};

std::uint32_t mainThreadIdentifier() noexcept {
  std::uint32_t known = mainThread.load(std::memory_order_relaxed);
  if (known == 0) {
    // The thread that forks is the only one of the child, and so its main thread.
    [[maybe_unused]] static const int renamedAfterFork = ::pthread_atfork(
        nullptr, nullptr, [] { mainThread.store(static_cast<std::uint32_t>(::getpid()), std::memory_order_relaxed); });
    const auto process = static_cast<std::uint32_t>(::getpid());
    known = mainThread.compare_exchange_strong(known, process, std::memory_order_relaxed) ? process : known;
  }
  return known;
}

class Queue final : public Executor {
 public:
  Queue() : descriptor_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (descriptor_ < 0) fatalError("The main queue could not make its descriptor", "Tessaly/MainQueue", __LINE__);
  }

  static Queue& shared() {
    static Queue* const queue = new Queue;
    return *queue;
  }

  [[nodiscard]] int descriptor() const { return descriptor_; }

  void enqueue(Job& job) noexcept override {
    stopIfForkedChild();
    lock_.lock();
    jobs_.append(job);
    ++enqueued_;
    const bool signals = !isSignalled_;
    isSignalled_ = true;
    const bool watches = !isWatched_;
    isWatched_ = true;
    lock_.unlock();
    if (signals) signal();
    if (watches) watchForForgottenLoop();
  }

  std::size_t drain() {
    detail::ThreadState& state = detail::threadState;
    Executor* const outerExecutor = state.executor;
    state.executor = this;
    std::size_t count = 0;
    lock_.lock();
    drains_.fetch_add(1, std::memory_order_relaxed);
    if (jobs_.isEmpty()) quieten();  // A signal may arrive after the drain that served its job.
    const std::uint64_t last = enqueued_;
    while (dequeued_ < last) {
      Job* job = jobs_.popFirst();
      ++dequeued_;
      // While other jobs wait, the descriptor stays readable: the job may run a loop that polls it.
      if (jobs_.isEmpty()) quieten();
      lock_.unlock();
      job->run();
      ++count;
      lock_.lock();
    }
    lock_.unlock();
    state.executor = outerExecutor;
    return count;
  }

  void run() {
    while (!isStopping_.exchange(false, std::memory_order_acquire)) {
      // The drain may have swallowed the signal of `stop()`.
      if (drain() > 0 || isStopping_.load(std::memory_order_acquire)) continue;
      pollfd waited{descriptor_, POLLIN, 0};
      ::poll(&waited, 1, -1);
    }
  }

  void stop() {
    isStopping_.store(true, std::memory_order_release);
    signal();
  }

 private:
  void signal() const {
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t size = ::write(descriptor_, &one, sizeof(one));
  }

  /// Makes the descriptor unreadable. Nobody's signal is lost: who enqueues next signals anew.
  void quieten() TESSALY_REQUIRES(lock_) {
    isSignalled_ = false;
    std::uint64_t value = 0;
    [[maybe_unused]] const ssize_t size = ::read(descriptor_, &value, sizeof(value));
  }

  /// Looks every 2 s whether work waits that no drain has come for, as long as there is work.
  void watchForForgottenLoop() {
    seenDrains_ = drains_.load(std::memory_order_relaxed);
    watch_.arm(ContinuousClock::shared(), ContinuousClock::shared().now() + std::chrono::seconds(2));
  }

  void look() {
    bool isForgotten = false;
    {
      UnfairLock::Guard guard(lock_);
      if (jobs_.isEmpty()) {
        isWatched_ = false;
        return;
      }
      isForgotten = drains_.load(std::memory_order_relaxed) == seenDrains_;
      // Once reported, the flag stays set, so that nobody looks again.
    }
    if (isForgotten) {
      detail::logPlatformError("MainQueue",
                               "Work for the main thread has been waiting for 2 s: nobody drains the main queue. Call "
                               "MainQueue::run(), or watch MainQueue::fileDescriptor() and call MainQueue::drain().");
    } else {
      watchForForgottenLoop();
    }
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
  bool isWatched_ TESSALY_GUARDED_BY(lock_) = false;
  std::atomic<std::uint64_t> drains_{0};
  std::uint64_t seenDrains_ = 0;
  std::atomic<bool> isStopping_{false};
  Watch watch_;
};

}  // namespace

void MainQueue::adopt() noexcept {
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
  return Queue::shared().drain();
}

void MainQueue::run() noexcept {
  assertMainIsolated("Tessaly/MainQueue", __LINE__);
  Queue::shared().run();
}

void MainQueue::stop() noexcept { Queue::shared().stop(); }

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
