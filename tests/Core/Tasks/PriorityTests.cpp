// SPDX-License-Identifier: MIT
// How a raised priority travels, and when it lapses.

#include <gtest/gtest.h>
#include <sched.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <latch>
#include <memory>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

#include "Tessaly/Core/Tasks/AsyncMergeSequence.hpp"
#include "Tessaly/Core/Tasks/CheckedContinuation.hpp"
#include "Tessaly/Core/Tasks/GlobalExecutor.hpp"
#include "Tessaly/Core/Tasks/SerialExecutor.hpp"
#include "Tessaly/Core/Tasks/SyncWait.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"
#include "Tessaly/Core/Tasks/TaskGroup.hpp"
#include "Tessaly/Core/Tasks/WithIsolation.hpp"
#include "Tessaly/Core/Tasks/detail/AwaitedTasks.hpp"
#include "Tessaly/Platform/Testing/ManualClock.hpp"
#include "Tessaly/Platform/Testing/SeededScheduler.hpp"
#include "tests/Core/Tasks/StepByStep.hpp"
#include "tests/Support/Repetitions.hpp"

/// Replaces the function of the C library: the pool asks it how many threads to make. It gets two on any machine,
/// because the turn of a serial executor may keep one of them.
extern "C" int sched_getaffinity(pid_t, std::size_t size, cpu_set_t* processors) noexcept {
  CPU_ZERO_S(size, processors);
  CPU_SET_S(0, size, processors);
  CPU_SET_S(1, size, processors);
  return 0;
}

namespace Tessaly {
namespace {

using namespace std::chrono_literals;
using Tests::StepByStep;

struct Nothing final : Job {
  explicit Nothing(TaskPriority priority) : Job([](Job&) noexcept {}, priority) {}
};

std::vector<std::unique_ptr<Nothing>> enqueueMany(const Isolation& serial, int count, TaskPriority priority) {
  std::vector<std::unique_ptr<Nothing>> jobs;
  for (int i = 0; i < count; ++i) {
    jobs.push_back(std::make_unique<Nothing>(priority));
    serial.executor()->enqueue(*jobs.back());
  }
  return jobs;
}

using Priorities = std::vector<TaskPriority>;

TEST(SerialExecutor, RaiseLapsesOnceTheHighJobHasRun) {
  StepByStep& global = StepByStep::install();
  const Isolation serial = Isolation::serial();
  const auto before = enqueueMany(serial, 300, TaskPriority::background);
  Nothing high(TaskPriority::high);
  serial.executor()->enqueue(high);
  const auto behind = enqueueMany(serial, 600, TaskPriority::background);
  while (global.runOne()) {
  }
  // The high job is in the second turn of 256 jobs.
  EXPECT_EQ(global.priorities,
            (Priorities{TaskPriority::high, TaskPriority::high, TaskPriority::background, TaskPriority::background}));
}

TEST(SerialExecutor, NextTurnStartsAtThePriorityOfItsJob) {
  StepByStep& global = StepByStep::install();
  const Isolation serial = Isolation::serial();
  for (const TaskPriority priority : {TaskPriority::high, TaskPriority::background, TaskPriority::medium}) {
    Nothing job(priority);
    serial.executor()->enqueue(job);
    EXPECT_TRUE(global.runOne());
  }
  EXPECT_EQ(global.priorities, (Priorities{TaskPriority::high, TaskPriority::background, TaskPriority::medium}));
}

TEST(SerialExecutor, RaiseOfWaitingJobReachesTheNextTurnAndLapses) {
  StepByStep& global = StepByStep::install();
  const Isolation serial = Isolation::serial();
  const auto before = enqueueMany(serial, 300, TaskPriority::background);
  Nothing raised(TaskPriority::background);
  serial.executor()->enqueue(raised);
  const auto behind = enqueueMany(serial, 300, TaskPriority::background);
  EXPECT_TRUE(global.runOne());
  raised.raisePriority(TaskPriority::high);
  serial.executor()->escalate(raised);
  while (global.runOne()) {
  }
  EXPECT_EQ(global.priorities, (Priorities{TaskPriority::background, TaskPriority::high, TaskPriority::background}));
}

TEST(SerialExecutor, WaiterOfItsTaskGoesOnBesideTheTurn) {
  for (int round = 0; round < Tests::repetitions(20); ++round) {
    const Isolation serial = Isolation::serial();
    std::latch mayBegin(1);
    std::latch hasGoneOn(1);
    const Task<> first({.isolation = serial}, [&] { mayBegin.wait(); });
    const Task<> awaited({.priority = TaskPriority::low, .isolation = serial}, [] {});
    const Task<> sameTurn({.isolation = serial}, [&] { hasGoneOn.wait(); });
    const Task<> waiter({.priority = TaskPriority::high, .isolation = Isolation()}, [&]() -> Async<void> {
      co_await awaited.value();
      hasGoneOn.count_down();
    });
    while (awaited.priority() != TaskPriority::high) std::this_thread::yield();  // The waiter waits, or is about to.
    mayBegin.count_down();
    syncWait(waiter.value());
    syncWait(sameTurn.value());
  }
}

/// A host's executor that ends with its last reference, and whose `escalate` takes its time.
class Counted final : public Executor {
 public:
  void enqueue(Job& job) noexcept override { GlobalExecutor::shared().enqueue(job); }
  void escalate(Job&) noexcept override {
    isCalled.count_down();
    mayReturn.wait();
  }
  void retain() noexcept override { ++references; }
  void release() noexcept override { --references; }

  std::atomic<int> references = 0;
  std::latch isCalled{1};
  std::latch mayReturn{1};
};

TEST(Executor, IsRetainedWhileItIsTold) {
  Counted executor;
  ManualClock clock;
  const Task<> task({.priority = TaskPriority::low, .isolation = Isolation()},
                    [&] { return withIsolation(Isolation(executor), [&] { return Task<>::sleep(1s, clock); }); });
  clock.waitForTimers(1);
  std::thread other([&] {
    executor.isCalled.wait();
    clock.advance(1s);
    syncWait(task.finished());
    EXPECT_GT(executor.references, 0) << "the call may still use the executor";
    executor.mayReturn.count_down();
  });
  // On the main thread, so that the call that takes its time does not hold a thread of the pool.
  const Task<> waiter({.priority = TaskPriority::high, .isolation = Isolation::main()}, [&] { return task.value(); });
  syncWait(waiter.value());
  other.join();
  EXPECT_EQ(executor.references, 0);
}

TEST(TaskGroup, ChildAddedWhileRaisedParentWaitsIsRaised) {
  SeededScheduler& scheduler = SeededScheduler::install();
  ManualClock clock;
  TaskPriority seen = TaskPriority::background;
  const Task<> parent({.priority = TaskPriority::background, .isolation = Isolation()}, [&] {
    return withTaskGroup<>([&](TaskGroup<>& group) -> Async<void> {
      group.addTask([&]() -> Async<void> {
        co_await Task<>::sleep(1s, clock);
        group.addTask({.priority = TaskPriority::background}, [&] { seen = Task<>::currentPriority(); });
        co_await Task<>::sleep(1s, clock);
      });
      co_await group.waitForAll();
    });
  });
  scheduler.runUntilIdle();
  const Task<> waiter({.priority = TaskPriority::high, .isolation = Isolation()}, [&] { return parent.value(); });
  scheduler.runUntilIdle();
  clock.advance(1s);
  scheduler.runUntilIdle();
  EXPECT_EQ(seen, TaskPriority::high);
  clock.advance(1s);
  scheduler.runUntilIdle();
  EXPECT_TRUE(waiter.isFinished());
}

TEST(TaskGroup, WaitingRaisesChildrenBelowTheParent) {
  SeededScheduler& scheduler = SeededScheduler::install();
  ManualClock clock;
  std::vector<TaskPriority> seen;
  const Task<> parent({.priority = TaskPriority::high, .isolation = Isolation()}, [&] {
    return withTaskGroup<>([&](TaskGroup<>& group) -> Async<void> {
      for (const TaskPriority priority : {TaskPriority::background, TaskPriority::low, TaskPriority::medium}) {
        group.addTask({.priority = priority}, [&]() -> Async<void> {
          co_await Task<>::sleep(1s, clock);
          seen.push_back(Task<>::currentPriority());
        });
      }
      co_await group.waitForAll();
    });
  });
  scheduler.runUntilIdle();
  clock.advance(1s);
  scheduler.runUntilIdle();
  EXPECT_EQ(seen, (Priorities{TaskPriority::high, TaskPriority::high, TaskPriority::high}));
}

TEST(AwaitedTasks, RaiseReachesTasksThatAContinuationWaitsFor) {
  SeededScheduler& scheduler = SeededScheduler::install();
  ManualClock clock;
  const auto sleeping = [&clock] { return Task<>::sleep(1s, clock); };
  const Task<> first({.priority = TaskPriority::background, .isolation = Isolation()}, sleeping);
  const Task<> second({.priority = TaskPriority::medium, .isolation = Isolation()}, sleeping);
  const Task<> after({.priority = TaskPriority::background, .isolation = Isolation()}, sleeping);
  std::optional<CheckedContinuation<>> answer;
  const Task<> consumer({.priority = TaskPriority::low, .isolation = Isolation()}, [&]() -> Async<void> {
    {
      const detail::AwaitedTasks awaited(std::array{first, second});
      co_await withCheckedContinuation<>([&](CheckedContinuation<> continuation) { answer = std::move(continuation); });
    }
    co_await after.value();
  });
  scheduler.runUntilIdle();
  EXPECT_EQ(first.priority(), TaskPriority::low) << "the consumer's own";
  EXPECT_EQ(second.priority(), TaskPriority::medium) << "nothing is lowered";
  const Task<> waiter({.priority = TaskPriority::high, .isolation = Isolation()}, [&] { return consumer.value(); });
  scheduler.runUntilIdle();
  EXPECT_EQ(first.priority(), TaskPriority::high);
  EXPECT_EQ(second.priority(), TaskPriority::high);
  EXPECT_EQ(after.priority(), TaskPriority::background);
  answer->resume();
  scheduler.runUntilIdle();
  EXPECT_EQ(after.priority(), TaskPriority::high);
  clock.advance(1s);
  scheduler.runUntilIdle();
  EXPECT_TRUE(waiter.isFinished());
}

/// One element: the priority of the task that fetches it, a second later.
struct FetchingPriority {
  using Element = TaskPriority;
  using Failure = std::exception_ptr;
  struct AsyncIterator {
    Async<std::optional<TaskPriority>> next() {
      if (std::exchange(hasEnded, true)) co_return std::nullopt;
      co_await Task<>::sleep(1s, *clock);
      co_return Task<>::currentPriority();
    }
    Async<std::optional<TaskPriority>> next(Isolation isolation) {
      return detail::nextIn<TaskPriority>(this, std::move(isolation));
    }
    ManualClock* clock;
    bool hasEnded = false;
  };
  [[nodiscard]] AsyncIterator makeAsyncIterator() const { return {.clock = clock}; }
  ManualClock* clock;
};

TEST(AsyncMergeSequence, RaisedConsumerRaisesTheTasksThatFetch) {
  SeededScheduler& scheduler = SeededScheduler::install();
  ManualClock clock;
  const Task<Priorities> consumer(
      {.priority = TaskPriority::low, .isolation = Isolation()}, [&]() -> Async<Priorities> {
        Priorities fetched;
        auto iterator = merge(FetchingPriority(&clock), FetchingPriority(&clock)).makeAsyncIterator();
        while (const auto priority = co_await iterator.next()) fetched.push_back(*priority);
        co_return fetched;
      });
  scheduler.runUntilIdle();
  const Task<Priorities> waiter({.priority = TaskPriority::high, .isolation = Isolation()},
                                [&] { return consumer.value(); });
  scheduler.runUntilIdle();
  clock.advance(1s);
  scheduler.runUntilIdle();
  ASSERT_TRUE(waiter.isFinished());
  EXPECT_EQ(syncWait(waiter.value()), (Priorities{TaskPriority::high, TaskPriority::high}));
}

}  // namespace
}  // namespace Tessaly
