// SPDX-License-Identifier: MIT
// State that belongs to the running job: executors that run jobs inside `enqueue`, nested drains, completions.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <latch>
#include <memory>
#include <optional>
#include <thread>

#include "Tessaly/Core/Tasks/BlockingWork.hpp"
#include "Tessaly/Core/Tasks/CheckedContinuation.hpp"
#include "Tessaly/Core/Tasks/GlobalExecutor.hpp"
#include "Tessaly/Core/Tasks/OS_dispatch_queue.hpp"
#include "Tessaly/Core/Tasks/SyncWait.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"
#include "Tessaly/Core/Tasks/TaskLocal.hpp"
#include "Tessaly/Core/Tasks/WithIsolation.hpp"

namespace Tessaly {
namespace {

using namespace std::chrono_literals;

class Inline final : public Executor {
 public:
  void enqueue(Job& job) noexcept override { job.run(); }
};

/// Suspends a task in an inline isolation until `resume` is called.
class InlineWait {
 public:
  Async<void> wait() {
    return withIsolation(Isolation(executor_), [this]() -> Async<void> {
      co_await withCheckedContinuation<>([this](const CheckedContinuation<>& continuation) {
        continuation_ = continuation;
        isWaiting_.count_down();
      });
    });
  }
  /// Once the task waits.
  void resume() {
    isWaiting_.wait();
    continuation_->resume();
  }

 private:
  Inline executor_;
  std::optional<CheckedContinuation<>> continuation_;
  std::latch isWaiting_{1};
};

const TaskOptions onThePool{.isolation = Isolation()};

/// Waits at most 10 s, so that a lost task fails the test.
bool endsSoon(const Task<>& task) {
  const auto deadline = std::chrono::steady_clock::now() + 10s;
  while (!task.isFinished() && std::chrono::steady_clock::now() < deadline) std::this_thread::yield();
  return task.isFinished();
}

TEST(InlineExecutor, ResumedTaskLeavesCallersSerialExecutorHeld) {
  InlineWait inlineWait;
  const Task<> waiting(onThePool, [&]() -> Async<void> { co_await inlineWait.wait(); });
  const Isolation serial = Isolation::serial();
  struct Resuming final : Job {
    Resuming(InlineWait& waitToEnd, const Isolation& own)
        : Job([](Job& job) noexcept {
            auto& self = static_cast<Resuming&>(job);
            self.wait.resume();
            self.staysIsolated = Isolation::current() == self.isolation;
            self.hasRun.count_down();
          }),
          wait(waitToEnd),
          isolation(own) {}
    InlineWait& wait;
    const Isolation& isolation;
    bool staysIsolated = false;
    std::latch hasRun{1};
  } job(inlineWait, serial);
  serial.executor()->enqueue(job);
  job.hasRun.wait();
  EXPECT_TRUE(job.staysIsolated);
  EXPECT_TRUE(endsSoon(waiting));
}

TEST(InlineExecutor, YieldsOfNestedTasksLoseNoTask) {
  for (int round = 0; round < 20; ++round) {
    InlineWait inlineWait;
    const Task<> nested(onThePool, [&]() -> Async<void> {
      co_await inlineWait.wait();
      co_await Task<>::yield();
    });
    const Task<> outer(onThePool, [&]() -> Async<void> {
      inlineWait.resume();
      co_await Task<>::yield();
    });
    ASSERT_TRUE(endsSoon(outer));
    ASSERT_TRUE(endsSoon(nested));
  }
}

TEST(InlineExecutor, NestedTaskDoesNotSeeCallersTask) {
  InlineWait inlineWait;
  static constinit TaskLocal<int> number(0);
  const Task<int> nested(onThePool, [&]() -> Async<int> {
    co_await inlineWait.wait();
    co_return Task<>::isCurrentCancelled() ? -1 : number.value();
  });
  const Task<> outer(onThePool, [&] {
    while (!Task<>::isCurrentCancelled()) std::this_thread::yield();
    number.withValue(7, [&] { inlineWait.resume(); });
    EXPECT_TRUE(Task<>::isCurrentCancelled());
  });
  outer.cancel();
  EXPECT_EQ(syncWait(nested.value()), 0);
  syncWait(outer.value());
}

TEST(InlineExecutor, CodeAfterSleepRunsOnPool) {
  Inline executor;
  const Task<bool> task(onThePool, [&] {
    return withIsolation(Isolation(executor), []() -> Async<bool> {
      co_await Task<>::sleep(1ms);
      co_return detail::threadState.isPoolWorker && !detail::threadState.servesTimers;
    });
  });
  EXPECT_TRUE(syncWait(task.value()));
}

TEST(TaskCompletion, DestroysTaskLocalsOutsideTask) {
  static TaskLocal<std::shared_ptr<int>> outer(nullptr);
  static constinit TaskLocal<int> inner(0);
  static std::atomic<int> seen = -1;
  static std::atomic<bool> isInTask = true;
  const auto readsTaskLocals = [](const int* value) {
    seen = inner.value();
    isInTask = detail::threadState.task != nullptr;
    delete value;
  };
  std::latch isBound(1);
  std::optional<Task<>> task;
  outer.withValue(std::shared_ptr<int>(new int(1), readsTaskLocals),
                  [&] { inner.withValue(2, [&] { task.emplace(onThePool, [&isBound] { isBound.wait(); }); }); });
  // From here on the task holds the last reference.
  isBound.count_down();
  syncWait(task->finished());
  EXPECT_EQ(seen, 0);
  EXPECT_FALSE(isInTask);
}

TEST(TaskCompletion, DestroysClosureOutsideTask) {
  static std::atomic<bool> isInTask = true;
  const auto note = [](const int* value) {
    isInTask = detail::threadState.task != nullptr;
    delete value;
  };
  const Task<> task(onThePool, [held = std::shared_ptr<int>(new int(1), note)] { static_cast<void>(*held); });
  syncWait(task.finished());
  EXPECT_FALSE(isInTask);
}

TEST(MainQueue, NestedDrainDoesNotInheritTheWaitingTask) {
  static constinit TaskLocal<int> number(0);
  bool hasRun = false;
  const Task<> task({.isolation = Isolation::main()}, [&] {
    number.withValue(3, [&] {
      OS_dispatch_queue::main().async([&] {
        hasRun = true;
        EXPECT_FALSE(Task<>::isCurrentCancelled());
        EXPECT_EQ(number.value(), 0);
        EXPECT_EQ(Isolation::current(), Isolation::main());
      });
      MainQueue::drain();
      EXPECT_EQ(number.value(), 3);
    });
    EXPECT_TRUE(Task<>::isCurrentCancelled());
  });
  task.cancel();
  syncWait(task.value());
  EXPECT_TRUE(hasRun);
}

TEST(MainQueue, JobsDoNotSeeBindingsOfTheDrainingCode) {
  static constinit TaskLocal<int> number(0);
  int seen = -1;
  OS_dispatch_queue::main().async([&] { seen = number.value(); });
  number.withValue(3, [] { MainQueue::drain(); });
  EXPECT_EQ(seen, 0);
}

TEST(RunBlocking, SyncWaitInsideNestsBeyondThreadLimit) {
  struct Nested {
    static Async<int> run(int depth) {
      return runBlocking([depth] { return depth == 0 ? 0 : 1 + syncWait(run(depth - 1)); });
    }
  };
  EXPECT_EQ(syncWait(Nested::run(150)), 150);
}

class InlineGlobal final : public Executor {
 public:
  void enqueue(Job& job) noexcept override { job.run(); }
};

TEST(GlobalExecutorDeathTest, RunningJobsInsideEnqueueOnTimerThreadStops) {
  EXPECT_DEATH(
      {
        static InlineGlobal executor;
        GlobalExecutor::install(executor);
        const Task<> task(onThePool, []() -> Async<void> { co_await Task<>::sleep(100ms); });
        endsSoon(task);
      },
      "Fatal error: The global executor ran a job inside enqueue\\(\\), on the thread that serves timers");
}

}  // namespace
}  // namespace Tessaly
