// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <latch>
#include <memory>
#include <optional>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

#include "Tessaly/Core/Tasks/CheckedContinuation.hpp"
#include "Tessaly/Core/Tasks/SyncWait.hpp"
#include "Tessaly/Core/Tasks/TaskGroup.hpp"
#include "Tessaly/Core/Tasks/TaskLocal.hpp"
#include "Tessaly/Platform/Testing/ManualClock.hpp"
#include "Tessaly/Platform/Testing/SeededScheduler.hpp"
#include "tests/Core/Tasks/StepByStep.hpp"
#include "tests/Support/InstructionCount.hpp"
#include "tests/Support/Repetitions.hpp"

namespace Tessaly {
namespace {

using namespace std::chrono_literals;

TEST(TaskGroup, GivesTheResultsOfAllChildren) {
  EXPECT_EQ(syncWait([] {
              return withTaskGroup<int>([](TaskGroup<int>& group) -> Async<int> {
                for (int i = 1; i <= 100; ++i) group.addTask([i] { return i; });
                int sum = 0;
                while (auto value = co_await group.next()) sum += *value;
                co_return sum;
              });
            }),
            5050);
}

TEST(TaskGroup, GivesResultsInTheOrderOfTheEnds) {
  SeededScheduler& scheduler = SeededScheduler::install();
  ManualClock clock;
  const Task<std::vector<int>> task = Task<std::vector<int>>::detached([&] {
    return withTaskGroup<int>([&](TaskGroup<int>& group) -> Async<std::vector<int>> {
      for (const int seconds : {3, 1, 2}) {
        group.addTask([&clock, seconds]() -> Async<int> {
          co_await Task<>::sleep(std::chrono::seconds(seconds), clock);
          co_return seconds;
        });
      }
      std::vector<int> order;
      while (auto value = co_await group.next()) order.push_back(*value);
      co_return order;
    });
  });
  scheduler.runUntilIdle();
  for (int i = 0; i < 3; ++i) {
    clock.advance(1s);
    scheduler.runUntilIdle();
  }
  ASSERT_TRUE(task.isFinished());
  EXPECT_EQ(syncWait(task.value()), (std::vector<int>{1, 2, 3}));
}

TEST(TaskGroup, WithoutChildrenGivesNothing) {
  EXPECT_FALSE(syncWait([] {
    return withTaskGroup<int>([](TaskGroup<int>& group) -> Async<bool> {
      EXPECT_TRUE(group.isEmpty());
      co_return (co_await group.next()).has_value();
    });
  }));
}

TEST(TaskGroup, ChildrenWithoutAResultTellThatOneHasEnded) {
  EXPECT_EQ(syncWait([] {
              return withTaskGroup<>([](TaskGroup<>& group) -> Async<int> {
                group.addTask([] {});
                group.addTask([]() -> Async<void> { co_await Task<>::yield(); });
                int count = 0;
                while (co_await group.next()) ++count;
                co_return count;
              });
            }),
            2);
}

TEST(TaskGroup, DoesNotReturnBeforeEveryChildHasEnded) {
  std::atomic<int> ended = 0;
  syncWait([&] {
    return withTaskGroup<>([&](TaskGroup<>& group) -> Async<void> {
      for (int i = 0; i < 50; ++i) {
        group.addTask([&]() -> Async<void> {
          for (int j = 0; j < 10; ++j) co_await Task<>::yield();
          ended.fetch_add(1);
        });
      }
      co_return;
    });
  });
  EXPECT_EQ(ended, 50);
}

TEST(TaskGroup, NextThrowsAChildsError) {
  EXPECT_THROW(syncWait([] {
                 return withTaskGroup<int>([](TaskGroup<int>& group) -> Async<int> {
                   group.addTask([]() -> int { throw std::runtime_error("child"); });
                   co_return *co_await group.next();
                 });
               }),
               std::runtime_error);
}

TEST(TaskGroup, ABodyThatThrowsCancelsTheChildrenAndWaitsForThem) {
  ManualClock clock;
  std::atomic<int> cancelled = 0;
  EXPECT_THROW(syncWait([&] {
                 return withTaskGroup<>([&](TaskGroup<>& group) -> Async<void> {
                   for (int i = 0; i < 10; ++i) {
                     group.addTask([&]() -> Async<void> {
                       try {
                         co_await Task<>::sleep(1h, clock);
                       } catch (const CancellationError&) {
                         cancelled.fetch_add(1);
                         throw;
                       }
                     });
                   }
                   throw std::logic_error("body");
                   co_return;
                 });
               }),
               std::logic_error);
  EXPECT_EQ(cancelled, 10);
}

TEST(TaskGroup, AnErrorThatWasNotTakenIsDropped) {
  EXPECT_EQ(syncWait([] {
              return withTaskGroup<int>([](TaskGroup<int>& group) -> Async<int> {
                group.addTask([]() -> int { throw std::runtime_error("nobody asks"); });
                co_return 3;
              });
            }),
            3);
}

TEST(TaskGroup, WaitForAllWaitsForAllAndThrowsTheFirstError) {
  std::atomic<int> ended = 0;
  EXPECT_THROW(syncWait([&] {
                 return withTaskGroup<>([&](TaskGroup<>& group) -> Async<void> {
                   group.addTask([] { throw std::out_of_range("first"); });
                   for (int i = 0; i < 20; ++i) {
                     group.addTask([&]() -> Async<void> {
                       for (int j = 0; j < 20; ++j) co_await Task<>::yield();
                       ended.fetch_add(1);
                     });
                   }
                   try {
                     co_await group.waitForAll();
                   } catch (...) {
                     EXPECT_EQ(ended, 20);
                     throw;
                   }
                 });
               }),
               std::out_of_range);
}

TEST(TaskGroup, CancellingTheTaskCancelsTheChildren) {
  ManualClock clock;
  const Task<> task({.isolation = Isolation()}, [&] {
    return withTaskGroup<>([&](TaskGroup<>& group) -> Async<void> {
      for (int i = 0; i < 5; ++i) group.addTask([&] { return Task<>::sleep(1h, clock); });
      co_await group.waitForAll();
    });
  });
  clock.waitForTimers(5);
  task.cancel();
  EXPECT_THROW(syncWait(task.value()), CancellationError);
}

TEST(TaskGroup, ChildrenAddedToACancelledGroupStartCancelled) {
  syncWait([] {
    return withTaskGroup<bool>([](TaskGroup<bool>& group) -> Async<void> {
      group.cancelAll();
      EXPECT_TRUE(group.isCancelled());
      group.addTask([] { return Task<>::isCurrentCancelled(); });
      EXPECT_TRUE(*co_await group.next());
      EXPECT_FALSE(group.addTaskUnlessCancelled([] { return false; }));
      EXPECT_TRUE(group.isEmpty());
    });
  });
}

TEST(TaskGroup, ChildrenInheritPriorityAndTaskLocalsButNoIsolation) {
  static constinit TaskLocal<int> number(0);
  const Task<> task({.priority = TaskPriority::high, .isolation = Isolation::serial()}, [&] {
    return number.withValue(4, [] {
      return withTaskGroup<>([](TaskGroup<>& group) -> Async<void> {
        group.addTask([] {
          EXPECT_EQ(Task<>::currentPriority(), TaskPriority::high);
          EXPECT_EQ(Isolation::current(), Isolation());
          EXPECT_EQ(number.value(), 4);
        });
        co_await group.waitForAll();
      });
    });
  });
  syncWait(task.value());
}

TEST(TaskGroup, RaisingWhoWaitsRaisesTheChildren) {
  ManualClock clock;
  std::atomic<detail::TaskRecord*> child = nullptr;
  const Task<> parent({.priority = TaskPriority::background, .isolation = Isolation()}, [&] {
    return withTaskGroup<>([&](TaskGroup<>& group) -> Async<void> {
      group.addTask([&]() -> Async<void> {
        child = detail::threadState.task;
        co_await Task<>::sleep(1s, clock);
      });
      co_await group.waitForAll();
    });
  });
  clock.waitForTimers(1);
  const Task<> waiter({.priority = TaskPriority::high, .isolation = Isolation()},
                      [&]() -> Async<void> { co_await parent.value(); });
  while (child.load()->priority() != TaskPriority::high) std::this_thread::yield();
  clock.advance(1s);
  syncWait(waiter.value());
  EXPECT_EQ(parent.priority(), TaskPriority::high);
}

TEST(TaskGroup, CompletionsAndTheConsumerInterleaveInEveryOrder) {
  SeededScheduler& scheduler = SeededScheduler::install();
  for (std::uint64_t seed = 0; seed < 2000; ++seed) {
    scheduler.reseed(seed);
    const Task<int> task = Task<int>::detached([] {
      return withTaskGroup<int>([](TaskGroup<int>& group) -> Async<int> {
        int sum = 0;
        for (int i = 0; i < 4; ++i) {
          group.addTask([i]() -> Async<int> {
            for (int j = 0; j < i; ++j) co_await Task<>::yield();
            co_return 1;
          });
          co_await Task<>::yield();
          if (i == 2) sum += (co_await group.next()).value_or(0);
        }
        while (auto value = co_await group.next()) sum += *value;
        co_return sum;
      });
    });
    scheduler.runUntilIdle();
    ASSERT_TRUE(task.isFinished()) << "seed " << seed;
  }
}

Async<void> nested(int depth, int& cancelled) {
  co_await withTaskGroup<>([&](TaskGroup<>& group) -> Async<void> {
    if (depth == 0) {
      co_await withTaskCancellationHandler([] { return Task<>::sleep(1h); }, [&] { ++cancelled; });
    } else {
      group.addTask([depth, &cancelled] { return nested(depth - 1, cancelled); });
      co_await group.waitForAll();
    }
  });
}

TEST(TaskGroup, IsCancelledHoweverDeepItIsNested) {
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
  constexpr int depth = 30'000;
#else
  constexpr int depth = 100'000;
#endif
  SeededScheduler& scheduler = SeededScheduler::install();
  int cancelled = 0;
  const Task<> task({.isolation = Isolation()}, [&] { return nested(depth, cancelled); });
  scheduler.runUntilIdle();
  EXPECT_FALSE(task.isFinished());
  task.cancel();
  EXPECT_EQ(cancelled, 1);
  scheduler.runUntilIdle();
  EXPECT_TRUE(task.isFinished());
}

TEST(TaskGroup, ManyChildrenOnThePoolAllArrive) {
  for (int round = 0; round < Tests::repetitions(30); ++round) {
    EXPECT_EQ(syncWait([] {
                return withTaskGroup<int>([](TaskGroup<int>& group) -> Async<int> {
                  for (int i = 0; i < 500; ++i) {
                    group.addTask([]() -> Async<int> {
                      co_await Task<>::yield();
                      co_return 1;
                    });
                  }
                  int sum = 0;
                  while (auto value = co_await group.next()) sum += *value;
                  co_return sum;
                });
              }),
              500);
  }
}

#if TESSALY_COUNTS_INSTRUCTIONS

/// The instructions from the end of one of many waiting children to the next wait of their group.
std::size_t instructionsOfOneEnd(Tests::StepByStep& executor, std::size_t children) {
  std::vector<CheckedContinuation<>> ends;
  const Task<> parent({.isolation = Isolation()}, [&] {
    return withTaskGroup<>([&](TaskGroup<>& group) -> Async<void> {
      for (std::size_t i = 0; i < children; ++i) {
        group.addTask([&] {
          return withCheckedContinuation<>(
              [&](CheckedContinuation<> continuation) { ends.push_back(std::move(continuation)); });
        });
      }
      co_await group.waitForAll();
    });
  });
  const auto runAll = [&] {
    while (executor.runOne()) {
    }
  };
  const auto endOne = [&] {
    ends.back().resume();
    ends.pop_back();
    runAll();
  };
  runAll();
  EXPECT_EQ(ends.size(), children);
  endOne();
  const std::size_t instructions = Tests::instructionsOf(endOne);
  while (!ends.empty()) endOne();
  EXPECT_TRUE(parent.isFinished());
  return instructions;
}

TEST(TaskGroup, NextCostsTheSameBesideAnyNumberOfChildren) {
  auto& executor = Tests::StepByStep::install();
  const std::size_t few = instructionsOfOneEnd(executor, 10);
  const std::size_t many = instructionsOfOneEnd(executor, 10'000);
  EXPECT_GT(few, 100U) << "the processor counts";
  EXPECT_LT(many, 2 * few);
}

#endif

TEST(TaskGroupDeathTest, SecondNextBeforeTheFirstResumesStops) {
  EXPECT_DEATH(
      {
        auto& executor = Tests::StepByStep::install();
        std::optional<Task<>> second;
        const Task<> first({.isolation = Isolation()}, [&] {
          return withTaskGroup<int>([&](TaskGroup<int>& group) -> Async<void> {
            group.addTask([] { return 1; });
            second.emplace(TaskOptions{.isolation = Isolation()}, [&]() -> Async<void> { co_await group.next(); });
            co_await group.next();
          });
        });
        // The order is the parent, the child, the second consumer, and only then the parent again.
        while (executor.runOne()) {
        }
      },
      "Two tasks wait for one task group");
}

}  // namespace
}  // namespace Tessaly
