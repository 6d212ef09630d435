// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <latch>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

#include "Tessaly/Core/Tasks/Cancellation.hpp"
#include "Tessaly/Core/Tasks/CheckedContinuation.hpp"
#include "Tessaly/Core/Tasks/MainQueue.hpp"
#include "Tessaly/Core/Tasks/SyncWait.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"
#include "Tessaly/Platform/Testing/ManualClock.hpp"
#include "Tessaly/Platform/Testing/SeededScheduler.hpp"
#include "tests/Support/Repetitions.hpp"

namespace Tessaly {
namespace {

using namespace std::chrono_literals;

using Tests::repetitions;

const TaskOptions onThePool{.isolation = Isolation()};

Async<void> doNothing() { co_return; }

TEST(CancellationHandler, IsNotCalledWithoutACancellation) {
  int calls = 0;
  syncWait(
      [&]() -> Async<void> { co_await withTaskCancellationHandler([] { return doNothing(); }, [&] { ++calls; }); });
  EXPECT_EQ(calls, 0);
}

TEST(CancellationHandler, RunsAtOnceBeforeTheOperationWhenAlreadyCancelledAndTheOperationStillRuns) {
  std::latch gate(1);
  std::vector<int> order;
  const Task<> task(onThePool, [&]() -> Async<void> {
    gate.wait();
    co_await withTaskCancellationHandler(
        [&]() -> Async<void> {
          order.push_back(2);
          co_return;
        },
        [&] { order.push_back(1); });
  });
  task.cancel();
  gate.count_down();
  syncWait(task.value());
  EXPECT_EQ(order, (std::vector<int>{1, 2}));
}

TEST(CancellationHandler, RunsSynchronouslyOnTheCancellingThreadOnce) {
  std::latch inside(1);
  std::atomic<int> calls = 0;
  std::thread::id caller;
  std::optional<CheckedContinuation<>> continuation;
  const Task<> task(onThePool, [&]() -> Async<void> {
    co_await withTaskCancellationHandler(
        [&] {
          return withCheckedContinuation<>([&](CheckedContinuation<> handle) {
            continuation = handle;
            inside.count_down();
          });
        },
        [&] {
          calls.fetch_add(1);
          caller = std::this_thread::get_id();
        });
  });
  inside.wait();
  task.cancel();
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(caller, std::this_thread::get_id());
  task.cancel();
  EXPECT_EQ(calls, 1);
  continuation->resume();
  syncWait(task.value());
  EXPECT_EQ(calls, 1);
}

TEST(CancellationHandler, InnermostRunsFirstAndAllRun) {
  std::latch inside(1);
  std::vector<int> order;
  std::optional<CheckedContinuation<>> continuation;
  const Task<> task(onThePool, [&]() -> Async<void> {
    co_await withTaskCancellationHandler(
        [&] {
          return withTaskCancellationHandler(
              [&] {
                return withCheckedContinuation<>([&](CheckedContinuation<> handle) {
                  continuation = handle;
                  inside.count_down();
                });
              },
              [&] { order.push_back(1); });
        },
        [&] { order.push_back(2); });
  });
  inside.wait();
  task.cancel();
  EXPECT_EQ(order, (std::vector<int>{1, 2}));
  continuation->resume();
  syncWait(task.value());
}

TEST(CancellationHandler, IsNotCalledOnceItsScopeHasEnded) {
  std::latch left(1);
  std::latch gate(1);
  int calls = 0;
  const Task<> task(onThePool, [&]() -> Async<void> {
    co_await withTaskCancellationHandler([] { return doNothing(); }, [&] { ++calls; });
    left.count_down();
    gate.wait();
  });
  left.wait();
  task.cancel();
  gate.count_down();
  syncWait(task.value());
  EXPECT_EQ(calls, 0);
}

TEST(CancellationHandler, MayCancelTheSameTaskAgainAndEndItsOwnScope) {
  std::latch inside(1);
  std::optional<Task<>> task;
  std::optional<CheckedContinuation<>> continuation;
  task.emplace(onThePool, [&]() -> Async<void> {
    co_await withTaskCancellationHandler(
        [&] {
          return withCheckedContinuation<>([&](CheckedContinuation<> handle) {
            continuation = handle;
            inside.count_down();
          });
        },
        [&] {
          task->cancel();
          continuation->resume();
        });
  });
  inside.wait();
  task->cancel();
  syncWait(task->value());
}

TEST(CancellationHandler, MayRunTheTaskToItsEndAndDropItsLastHandle) {
  std::optional<Task<>> task;
  std::optional<CheckedContinuation<>> continuation;
  const auto witness = std::make_shared<bool>(false);
  task.emplace(TaskOptions{.isolation = Isolation::main()}, [&task, &continuation, witness]() -> Async<void> {
    co_await withTaskCancellationHandler(
        [&] { return withCheckedContinuation<>([&](CheckedContinuation<> handle) { continuation = handle; }); },
        [&] {
          auto& handle = task;  // This closure ends with the scope.
          continuation->resume();
          MainQueue::drain();
          handle.reset();
        });
    *witness = true;
  });
  MainQueue::drain();
  task->cancel();
  EXPECT_FALSE(task.has_value());
  EXPECT_TRUE(*witness);
  EXPECT_EQ(witness.use_count(), 1);
}

TEST(CancellationHandler, LeavingTheScopeWaitsForAHandlerThatRunsElsewhere) {
  for (int i = 0; i < repetitions(500); ++i) {
    std::latch inside(1);
    std::optional<CheckedContinuation<>> continuation;
    const Task<> task(onThePool, [&]() -> Async<void> {
      // Freed when the scope is left: a handler still running would touch it.
      auto flag = std::make_unique<std::atomic<bool>>(false);
      std::atomic<bool>* const watched = flag.get();
      co_await withTaskCancellationHandler(
          [&] {
            return withCheckedContinuation<>([&](CheckedContinuation<> handle) {
              continuation = handle;
              inside.count_down();
            });
          },
          [&, watched] {
            continuation->resume();
            std::this_thread::yield();
            watched->store(true);
          });
      EXPECT_TRUE(flag->load());
      flag.reset();
    });
    inside.wait();
    task.cancel();
    syncWait(task.value());
  }
}

TEST(CancellationHandler, CancelRacingWithTheScopeCallsAtMostOnceAndNeverLate) {
  for (int i = 0; i < repetitions(500); ++i) {
    std::atomic<int> calls = 0;
    const Task<int> task(onThePool, [&]() -> Async<int> {
      for (int round = 0; round < 20; ++round) {
        co_await withTaskCancellationHandler([] { return doNothing(); }, [&] { calls.fetch_add(1); });
        if (calls.load() > 0) break;
      }
      co_return calls.load();
    });
    task.cancel();
    const int callsAtItsEnd = syncWait(task.value());
    EXPECT_EQ(callsAtItsEnd, calls.load());
    EXPECT_LE(calls.load(), 1);
  }
}

TEST(CancellationHandler, HoldsNoLockWhileItRuns) {
  // The handler needs the task's own lock, by adding a waiter to it on another thread.
  std::latch inside(1);
  std::optional<CheckedContinuation<>> continuation;
  std::optional<Task<>> task;
  task.emplace(onThePool, [&]() -> Async<void> {
    co_await withTaskCancellationHandler(
        [&] {
          return withCheckedContinuation<>([&](CheckedContinuation<> handle) {
            continuation = handle;
            inside.count_down();
          });
        },
        [&] {
          std::latch waits(1);
          const Task<> waiter(onThePool, [&]() -> Async<void> {
            waits.count_down();
            co_await task->value();
          });
          waits.wait();
          continuation->resume();
        });
  });
  inside.wait();
  task->cancel();
  syncWait(task->value());
}

TEST(CancellationHandlerDeathTest, ThatThrowsStopsTheProcess) {
  EXPECT_DEATH(syncWait([]() -> Async<void> {
                 const Task<> task(onThePool, []() -> Async<void> {
                   while (!Task<>::isCurrentCancelled()) co_await Task<>::yield();
                   co_await withTaskCancellationHandler([] { return doNothing(); }, [] { throw 1; });
                 });
                 task.cancel();
                 co_await task.value();
               }),
               "^Tessaly/Notification:[0-9]+: Fatal error: A cancellation handler has thrown\n$");
}

/// Tasks each of which cancels the next one from its handler; the last one sleeps.
std::vector<Task<>> chainOfCancellations(int length, ManualClock& clock) {
  std::vector<Task<>> tasks;
  tasks.emplace_back(TaskOptions{.isolation = Isolation()}, [&clock] { return Task<>::sleep(1h, clock); });
  for (int i = 1; i < length; ++i) {
    tasks.emplace_back(TaskOptions{.isolation = Isolation()}, [next = tasks.back()] {
      return withTaskCancellationHandler([next] { return next.finished(); }, [next] { next.cancel(); });
    });
  }
  return tasks;
}

TEST(CancellationHandler, ChainOfAnyLengthUsesNoStack) {
  SeededScheduler& scheduler = SeededScheduler::install();
  ManualClock clock;
  const auto tasks = chainOfCancellations(100'000, clock);
  scheduler.runUntilIdle();
  EXPECT_EQ(clock.timerCount(), 1U);
  tasks.back().cancel();
  EXPECT_TRUE(tasks.front().isCancelled());
  scheduler.runUntilIdle();
  EXPECT_TRUE(tasks.back().isFinished());
}

TEST(CancellationHandler, NestedCancelCallsHandlersBeforeItReturns) {
  SeededScheduler& scheduler = SeededScheduler::install();
  ManualClock clock;
  int innerCalls = 0;
  const Task<> inner({.isolation = Isolation()}, [&] {
    return withTaskCancellationHandler([&] { return Task<>::sleep(1h, clock); }, [&] { ++innerCalls; });
  });
  int seen = -1;
  const Task<> outer({.isolation = Isolation()}, [&] {
    return withTaskCancellationHandler([&] { return inner.finished(); },
                                       [&] {
                                         inner.cancel();
                                         seen = innerCalls;
                                       });
  });
  scheduler.runUntilIdle();
  outer.cancel();
  EXPECT_EQ(seen, 1);
  scheduler.runUntilIdle();
}

}  // namespace
}  // namespace Tessaly
