// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <latch>
#include <memory>
#include <thread>
#include <vector>

#include "Tessaly/Core/Tasks/Executor.hpp"
#include "Tessaly/Core/Tasks/GlobalExecutor.hpp"
#include "Tessaly/Core/Tasks/SerialExecutor.hpp"
#include "Tessaly/Core/Tasks/SyncWait.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"
#include "Tessaly/Core/Tasks/TaskGroup.hpp"
#include "Tessaly/Core/Tasks/WithIsolation.hpp"
#include "Tessaly/Platform/Testing/SeededScheduler.hpp"
#include "tests/Support/Repetitions.hpp"

namespace Tessaly {
namespace {

using Tests::repetitions;

struct Step final : Job {
  explicit Step(std::function<void()> work)
      : Job([](Job& job) noexcept { static_cast<Step&>(job).function(); }), function(std::move(work)) {}
  std::function<void()> function;
};

TEST(JobList, IsFirstInFirstOutAndTakesFromTheMiddle) {
  Step first([] {});
  Step second([] {});
  Step third([] {});
  JobList list;
  list.append(first);
  list.append(second);
  list.append(third);
  list.remove(second);
  EXPECT_EQ(list.popFirst(), &first);
  EXPECT_EQ(list.popFirst(), &third);
  EXPECT_EQ(list.popFirst(), nullptr);
  EXPECT_TRUE(list.isEmpty());
}

TEST(GlobalExecutor, RunsJobsOnOtherThreads) {
  std::latch done(1);
  std::thread::id runner;
  Step job([&] {
    runner = std::this_thread::get_id();
    done.count_down();
  });
  GlobalExecutor::shared().enqueue(job);
  done.wait();
  EXPECT_NE(runner, std::this_thread::get_id());
}

TEST(GlobalExecutor, UsesAsManyThreadsAsTheProcessMayUseCores) {
  const unsigned threads = std::thread::hardware_concurrency();
  std::latch allAtOnce(threads);
  std::vector<Task<>> tasks;
  for (unsigned i = 0; i < threads; ++i) {
    tasks.push_back(Task<>::detached([&] { allAtOnce.arrive_and_wait(); }));
  }
  for (const auto& task : tasks) syncWait(task.finished());
}

TEST(GlobalExecutor, LeavesNoJobWaitingThatFollowsManyShortOnes) {
  const unsigned threads = std::thread::hardware_concurrency();
  for (int round = 0; round < repetitions(100); ++round) {
    std::latch allAtOnce(threads);
    std::vector<Task<>> tasks;
    const Task<> first = Task<>::detached([&] {
      for (int i = 0; i < 1'000; ++i) tasks.push_back(Task<>::detached([] {}));
      for (unsigned i = 1; i < threads; ++i) tasks.push_back(Task<>::detached([&] { allAtOnce.arrive_and_wait(); }));
      allAtOnce.arrive_and_wait();
    });
    syncWait(first.finished());
    for (const auto& task : tasks) syncWait(task.finished());
  }
}

class Counting final : public Executor {
 public:
  void enqueue(Job& job) noexcept override {
    ++count;
    job.run();
  }
  int count = 0;
};

TEST(GlobalExecutor, MayBeReplacedBeforeFirstUse) {
  static Counting executor;
  GlobalExecutor::install(executor);
  bool hasRun = false;
  Task<>::detached([&] { hasRun = true; });
  EXPECT_TRUE(hasRun);
  EXPECT_EQ(executor.count, 1);
}

TEST(GlobalExecutorDeathTest, MayNotBeReplacedAfterFirstUse) {
  EXPECT_DEATH(
      {
        static Counting executor;
        static_cast<void>(GlobalExecutor::shared());
        GlobalExecutor::install(executor);
      },
      "^Tessaly/GlobalExecutor:[0-9]+: Fatal error: A global executor was installed after the first use of one\n$");
}

TEST(SerialExecutor, RunsItsJobsInOrder) {
  const Isolation serial = Isolation::serial();
  std::vector<int> order;
  std::latch done(1);
  std::vector<std::unique_ptr<Step>> jobs;
  for (int i = 0; i < 1000; ++i) {
    jobs.push_back(std::make_unique<Step>([&, i] {
      order.push_back(i);
      if (i == 999) done.count_down();
    }));
  }
  for (auto& job : jobs) serial.executor()->enqueue(*job);
  done.wait();
  for (int i = 0; i < 1000; ++i) ASSERT_EQ(order[static_cast<std::size_t>(i)], i);
}

TEST(SerialExecutor, RunsOneJobAtATime) {
  for (int round = 0; round < repetitions(20); ++round) {
    const Isolation serial = Isolation::serial();
    int total = 0;  // Not atomic on purpose.
    syncWait([&] {
      return withTaskGroup<>([&](TaskGroup<>& group) -> Async<void> {
        for (int i = 0; i < 100; ++i) {
          group.addTask([&]() -> Async<void> {
            for (int j = 0; j < 50; ++j) co_await withIsolation(serial, [&] { ++total; });
          });
          group.addTask({.isolation = serial}, [&]() -> Async<void> {
            for (int j = 0; j < 50; ++j) {
              ++total;
              co_await Task<>::yield();
            }
          });
        }
        co_await group.waitForAll();
      });
    });
    EXPECT_EQ(total, 10'000);
  }
}

TEST(SerialExecutor, StaysAliveUntilItsQueuedJobsHaveRun) {
  std::latch done(1);
  Step job([&] { done.count_down(); });
  {
    const Isolation serial = Isolation::serial();
    serial.executor()->enqueue(job);
  }
  done.wait();
}

TEST(SerialExecutor, RefillsItselfFromItsOwnJobs) {
  const Isolation serial = Isolation::serial();
  std::latch done(1);
  int count = 0;
  Step job([] {});
  job.function = [&] {
    if (++count == 1000) {
      done.count_down();
    } else {
      serial.executor()->enqueue(job);
    }
  };
  serial.executor()->enqueue(job);
  done.wait();
  EXPECT_EQ(count, 1000);
}

TEST(WithIsolation, RunsTheBodyThereAndGoesBack) {
  const Isolation serial = Isolation::serial();
  const Task<> task({.isolation = Isolation()}, [&]() -> Async<void> {
    EXPECT_EQ(Isolation::current(), Isolation());
    const int value = co_await withIsolation(serial, [&] {
      EXPECT_EQ(Isolation::current(), serial);
      return 3;
    });
    EXPECT_EQ(value, 3);
    EXPECT_EQ(Isolation::current(), Isolation());
  });
  syncWait(task.value());
}

TEST(WithIsolation, ContinuesOnTheSameThreadWhenTheExecutorIsIdle) {
  const Isolation serial = Isolation::serial();
  const Task<> task({.isolation = Isolation()}, [&]() -> Async<void> {
    const auto thread = std::this_thread::get_id();
    co_await withIsolation(serial, [&] { EXPECT_EQ(std::this_thread::get_id(), thread); });
    EXPECT_EQ(std::this_thread::get_id(), thread);
  });
  syncWait(task.value());
}

TEST(WithIsolation, GoesBackWhenTheBodyThrows) {
  const Isolation serial = Isolation::serial();
  const Task<> task({.isolation = Isolation()}, [&]() -> Async<void> {
    bool hasThrown = false;
    try {
      co_await withIsolation(serial, [] { throw 1; });
    } catch (int) {
      hasThrown = true;
    }
    EXPECT_TRUE(hasThrown);
    EXPECT_EQ(Isolation::current(), Isolation());
  });
  syncWait(task.value());
}

TEST(WithIsolation, SuspendsInsideAndResumesThere) {
  const Isolation first = Isolation::serial();
  const Isolation second = Isolation::serial();
  const Task<> task({.isolation = first}, [&]() -> Async<void> {
    co_await withIsolation(second, [&]() -> Async<void> {
      co_await Task<>::yield();
      EXPECT_EQ(Isolation::current(), second);
      co_await withIsolation(first, [&] { EXPECT_EQ(Isolation::current(), first); });
      EXPECT_EQ(Isolation::current(), second);
    });
    EXPECT_EQ(Isolation::current(), first);
  });
  syncWait(task.value());
}

TEST(WithIsolation, ReachesTheMainThreadAndComesBack) {
  const auto main = std::this_thread::get_id();
  const Task<> task({.isolation = Isolation()}, [&]() -> Async<void> {
    co_await withIsolation(Isolation::main(), [&] { EXPECT_EQ(std::this_thread::get_id(), main); });
    EXPECT_NE(std::this_thread::get_id(), main);
  });
  syncWait(task.value());
}

TEST(WithIsolation, ExcludesOthersUnderEverySchedule) {
  SeededScheduler& scheduler = SeededScheduler::install();
  for (std::uint64_t seed = 0; seed < 1000; ++seed) {
    scheduler.reseed(seed);
    const Isolation serial = Isolation::serial();
    int inside = 0;
    int steps = 0;
    for (int i = 0; i < 4; ++i) {
      Task<>::detached([&]() -> Async<void> {
        for (int j = 0; j < 3; ++j) {
          co_await withIsolation(serial, [&] {
            ASSERT_EQ(++inside, 1);
            ++steps;
            --inside;
          });
        }
      });
    }
    scheduler.runUntilIdle();
    ASSERT_EQ(steps, 12) << "seed " << seed;
  }
}

TEST(Isolation, IsTheMainQueueOnTheMainThreadAndNoneElsewhereOutsideTasks) {
  EXPECT_EQ(Isolation::current(), Isolation::main());
  std::thread([] { EXPECT_EQ(Isolation::current(), Isolation()); }).join();
}

TEST(Isolation, KeepsItsExecutorAliveThroughCopiesAndMoves) {
  Isolation first = Isolation::serial();
  Isolation copy = first;
  Isolation moved = std::move(first);
  EXPECT_EQ(copy, moved);
  copy = Isolation();
  std::latch done(1);
  Step job([&] { done.count_down(); });
  moved.executor()->enqueue(job);
  done.wait();
}

}  // namespace
}  // namespace Tessaly
