// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <latch>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "Tessaly/Core/Tasks/Cancellation.hpp"
#include "Tessaly/Core/Tasks/CheckedContinuation.hpp"
#include "Tessaly/Core/Tasks/MainQueue.hpp"
#include "Tessaly/Core/Tasks/SyncWait.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"
#include "Tessaly/Core/Tasks/TaskLocal.hpp"
#include "Tessaly/Core/Tasks/WithIsolation.hpp"
#include "Tessaly/Platform/Testing/ManualClock.hpp"
#include "Tessaly/Platform/Testing/SeededScheduler.hpp"
#include "tests/Support/Repetitions.hpp"

namespace Tessaly {
namespace {

using namespace std::chrono_literals;
using Tests::repetitions;

const TaskOptions onThePool{.isolation = Isolation()};

TEST(Task, GivesItsValueToEveryoneWhoAsks) {
  const Task<std::string> task([]() -> Async<std::string> { co_return "done"; });
  EXPECT_EQ(syncWait(task.value()), "done");
  EXPECT_EQ(syncWait(task.value()), "done");
  EXPECT_TRUE(task.isFinished());
}

TEST(Task, ThrowsItsErrorToEveryoneWhoAsks) {
  const Task<int> task([]() -> Async<int> {
    throw std::runtime_error("broken");
    co_return 1;
  });
  EXPECT_THROW(syncWait(task.value()), std::runtime_error);
  EXPECT_THROW(syncWait(task.value()), std::runtime_error);
}

TEST(Task, PassesOnWhatIsNoExceptionClass) {
  const Task<> task([]() -> Async<void> {
    throw std::string("plain");
    co_return;
  });
  EXPECT_THROW(syncWait(task.value()), std::string);
}

TEST(Task, RunsAPlainFunctionToo) {
  EXPECT_EQ(syncWait(Task([] { return 7; }).value()), 7);
}

TEST(Task, NeverStartsInline) {
  bool hasStarted = false;
  const Task<> task([&] { hasStarted = true; });
  EXPECT_FALSE(hasStarted);
  syncWait(task.value());
  EXPECT_TRUE(hasStarted);
}

TEST(Task, StartsWithoutBeingAwaited) {
  std::latch started(1);
  {
    const Task<> dropped(onThePool, [&] { started.count_down(); });
  }
  started.wait();
}

TEST(Task, InheritsPriorityIsolationAndTaskLocals) {
  static constinit TaskLocal<int> number(0);
  const Isolation serial = Isolation::serial();
  const Task<> outer({.priority = TaskPriority::high, .isolation = serial}, [&]() -> Async<void> {
    const Task<> inner = number.withValue(5, [&] {
      return Task<>([&] {
        EXPECT_EQ(Task<>::currentPriority(), TaskPriority::high);
        EXPECT_EQ(Isolation::current(), serial);
        EXPECT_EQ(number.value(), 5);
      });
    });
    co_await inner.value();
  });
  syncWait(outer.value());
}

TEST(Task, DetachedInheritsNothing) {
  static constinit TaskLocal<int> number(0);
  const Task<> outer({.priority = TaskPriority::background, .isolation = Isolation::serial()}, [&]() -> Async<void> {
    const Task<> inner = number.withValue(5, [&] {
      return Task<>::detached([&] {
        EXPECT_EQ(Task<>::currentPriority(), TaskPriority::medium);
        EXPECT_EQ(Isolation::current(), Isolation());
        EXPECT_EQ(number.value(), 0);
      });
    });
    // Whoever awaits with a lower priority lowers nothing.
    co_await inner.value();
  });
  syncWait(outer.value());
}

TEST(Task, CreatedOnTheMainThreadRunsThere) {
  const auto main = std::this_thread::get_id();
  const Task<std::thread::id> task([] { return std::this_thread::get_id(); });
  EXPECT_EQ(syncWait(task.value()), main);
}

TEST(Task, WithoutIsolationRunsOnThePool) {
  const Task<std::thread::id> task(onThePool, [] { return std::this_thread::get_id(); });
  EXPECT_NE(syncWait(task.value()), std::this_thread::get_id());
}

TEST(Task, IsNotCancelledWithItsCreator) {
  Task<bool> inner = syncWait([]() -> Async<Task<bool>> {
    std::optional<Task<bool>> made;
    const Task<> outer(onThePool, [&] { made.emplace(onThePool, [] { return Task<>::isCurrentCancelled(); }); });
    outer.cancel();
    co_await outer.value();
    co_return *made;
  });
  EXPECT_FALSE(syncWait(inner.value()));
}

TEST(Task, DroppingTheHandleNeitherCancelsNorStops) {
  std::latch gate(1);
  std::latch ended(1);
  std::atomic<bool> wasCancelled = true;
  {
    const Task<> dropped(onThePool, [&]() -> Async<void> {
      co_await Task<>::yield();
      gate.wait();
      wasCancelled = Task<>::isCurrentCancelled();
      ended.count_down();
    });
  }
  gate.count_down();
  ended.wait();
  EXPECT_FALSE(wasCancelled);
}

TEST(Task, ReleasesItsClosureAtCompletion) {
  auto witness = std::make_shared<int>(1);
  const Task<int> task([witness]() -> Async<int> { co_return *witness; });
  EXPECT_EQ(syncWait(task.value()), 1);
  EXPECT_EQ(witness.use_count(), 1);
}

TEST(Task, KeepsALambdaAliveForAsLongAsItsCoroutineRuns) {
  ManualClock clock;
  std::optional<Task<std::string>> task;
  {
    const std::string captured(100, 'x');
    task.emplace(onThePool, [captured, &clock]() -> Async<std::string> {
      co_await Task<>::sleep(1s, clock);
      co_return captured;
    });
  }
  clock.waitForTimers(1);
  clock.advance(1s);
  EXPECT_EQ(syncWait(task->value()), std::string(100, 'x'));
}

TEST(Task, ClosureKeepsItsAlignment) {
  struct alignas(256) Aligned {
    int value = 3;
  };
  const auto misalignment = [aligned = Aligned()] { return reinterpret_cast<std::uintptr_t>(&aligned) % 256; };
  std::vector<Task<std::uintptr_t>> tasks;
  for (int i = 0; i < 8; ++i) tasks.emplace_back(misalignment);
  for (const auto& task : tasks) EXPECT_EQ(syncWait(task.value()), 0U);
}

TEST(Task, CancelIsStickyAndIdempotent) {
  std::latch gate(1);
  const Task<bool> task(onThePool, [&] {
    gate.wait();
    return Task<>::isCurrentCancelled();
  });
  task.cancel();
  task.cancel();
  EXPECT_TRUE(task.isCancelled());
  gate.count_down();
  EXPECT_TRUE(syncWait(task.value()));
}

TEST(Task, CancelAfterCompletionHasNoEffect) {
  const Task<int> task([] { return 1; });
  EXPECT_EQ(syncWait(task.value()), 1);
  task.cancel();
  EXPECT_FALSE(task.isCancelled());
}

TEST(Task, CancellingTheAwaiterNeitherCancelsTheAwaitedTaskNorEndsTheWait) {
  ManualClock clock;
  const Task<bool> awaited(onThePool, [&]() -> Async<bool> {
    co_await Task<>::sleep(1s, clock);
    co_return Task<>::isCurrentCancelled();
  });
  clock.waitForTimers(1);
  const Task<bool> awaiter(onThePool, [&]() -> Async<bool> { co_return co_await awaited.value(); });
  awaiter.cancel();
  EXPECT_FALSE(awaiter.isFinished());
  clock.advance(1s);
  EXPECT_FALSE(syncWait(awaiter.value()));
}

TEST(Task, CheckCancellationThrowsTheCancellationError) {
  std::latch gate(1);
  const Task<> task(onThePool, [&] {
    gate.wait();
    Task<>::checkCancellation();
  });
  task.cancel();
  gate.count_down();
  EXPECT_THROW(syncWait(task.value()), CancellationError);
}

TEST(Task, OutsideAnyTaskNothingIsCancelledAndThePriorityIsMedium) {
  EXPECT_FALSE(Task<>::isCurrentCancelled());
  EXPECT_NO_THROW(Task<>::checkCancellation());
  EXPECT_EQ(Task<>::currentPriority(), TaskPriority::medium);
}

TEST(Task, AwaitingRaisesThePriorityOfTheAwaited) {
  ManualClock clock;
  const Task<TaskPriority> low({.priority = TaskPriority::background, .isolation = Isolation()},
                               [&]() -> Async<TaskPriority> {
                                 co_await Task<>::sleep(1s, clock);
                                 co_return Task<>::currentPriority();
                               });
  clock.waitForTimers(1);
  EXPECT_EQ(low.priority(), TaskPriority::background);
  const Task<TaskPriority> high({.priority = TaskPriority::high, .isolation = Isolation()},
                                [&]() -> Async<TaskPriority> { co_return co_await low.value(); });
  while (low.priority() != TaskPriority::high) std::this_thread::yield();
  clock.advance(1s);
  EXPECT_EQ(syncWait(high.value()), TaskPriority::high);
}

TEST(Task, AwaitingRaisesWhatTheAwaitedIsWaitingFor) {
  ManualClock clock;
  const TaskOptions background{.priority = TaskPriority::background, .isolation = Isolation()};
  const Task<> first(background, [&]() -> Async<void> { co_await Task<>::sleep(1s, clock); });
  clock.waitForTimers(1);
  std::latch waits(1);
  const Task<> second(background, [&]() -> Async<void> {
    waits.count_down();
    co_await first.value();
  });
  waits.wait();
  const Task<> third({.priority = TaskPriority::high, .isolation = Isolation()},
                     [&]() -> Async<void> { co_await second.value(); });
  while (first.priority() != TaskPriority::high) std::this_thread::yield();
  EXPECT_EQ(second.priority(), TaskPriority::high);
  clock.advance(1s);
  syncWait(third.value());
}

TEST(Task, AwaitingRaisesAChainOfAnyLength) {
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
  constexpr int length = 50'000;
#else
  constexpr int length = 300'000;
#endif
  SeededScheduler& scheduler = SeededScheduler::install();
  const TaskOptions background{.priority = TaskPriority::background, .isolation = Isolation()};
  std::optional<CheckedContinuation<>> continuation;
  const Task<> first(background, [&] {
    return withCheckedContinuation<>([&](CheckedContinuation<> handle) { continuation = handle; });
  });
  Task<> last = first;
  scheduler.runUntilIdle();
  for (int i = 0; i < length; ++i) {
    last = Task<>(background, [awaited = last] { return awaited.value(); });
    scheduler.runUntilIdle();
  }
  const Task<> waiter({.priority = TaskPriority::high, .isolation = Isolation()}, [&] { return last.value(); });
  scheduler.runUntilIdle();
  EXPECT_EQ(first.priority(), TaskPriority::high);
  EXPECT_FALSE(waiter.isFinished());
  continuation->resume();
  scheduler.runUntilIdle();
  EXPECT_TRUE(waiter.isFinished());
}

TEST(Task, SleepsOnTheClockItWasGiven) {
  ManualClock clock;
  const Task<> task(onThePool, [&]() -> Async<void> { co_await Task<>::sleep(10s, clock); });
  clock.waitForTimers(1);
  clock.advance(9s);
  EXPECT_FALSE(task.isFinished());
  clock.advance(1s);
  syncWait(task.value());
}

TEST(Task, SleepsOnTheContinuousClockForAtLeastTheTime) {
  const auto start = ContinuousClock::shared().now();
  syncWait(Task<>::sleep(5ms));
  EXPECT_GE(ContinuousClock::shared().now() - start, 5ms);
}

TEST(Task, ASleepOfNothingOrLessEnds) {
  syncWait(Task<>::sleep(0ns));
  syncWait(Task<>::sleep(-1h));
}

TEST(Task, CancelWakesASleeperWithTheCancellationError) {
  ManualClock clock;
  const Task<> task(onThePool, [&]() -> Async<void> { co_await Task<>::sleep(1h, clock); });
  clock.waitForTimers(1);
  task.cancel();
  EXPECT_THROW(syncWait(task.value()), CancellationError);
  EXPECT_EQ(clock.timerCount(), 0U);
}

TEST(Task, ACancelledTaskDoesNotFallAsleep) {
  ManualClock clock;
  std::latch gate(1);
  const Task<> task(onThePool, [&]() -> Async<void> {
    gate.wait();
    co_await Task<>::sleep(1h, clock);
  });
  task.cancel();
  gate.count_down();
  EXPECT_THROW(syncWait(task.value()), CancellationError);
}

TEST(Task, SleepAndCancelRaceToOneEnd) {
  for (int i = 0; i < repetitions(300); ++i) {
    ManualClock clock;
    const Task<bool> task(onThePool, [&]() -> Async<bool> {
      try {
        co_await Task<>::sleep(1s, clock);
      } catch (const CancellationError&) {
        co_return true;
      }
      co_return false;
    });
    clock.waitForTimers(1);
    std::thread canceller([&] { task.cancel(); });
    clock.advance(1s);
    canceller.join();
    static_cast<void>(syncWait(task.value()));
    EXPECT_EQ(clock.timerCount(), 0U);
  }
}

TEST(Task, YieldLetsOtherWorkRun) {
  SeededScheduler& scheduler = SeededScheduler::install();
  std::vector<int> order;
  const auto step = [&](int number) {
    return Task<>::detached([&order, number]() -> Async<void> {
      for (int i = 0; i < 3; ++i) {
        order.push_back(number);
        co_await Task<>::yield();
      }
    });
  };
  const Task<> first = step(1);
  const Task<> second = step(2);
  EXPECT_EQ(scheduler.runUntilIdle(), 8U);
  EXPECT_NE(order, (std::vector<int>{1, 1, 1, 2, 2, 2}));
  EXPECT_TRUE(first.isFinished() && second.isFinished());
}

TEST(Task, AMillionAtOnceAllEnd) {
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
  constexpr int count = 20'000;
#else
  constexpr int count = 1'000'000;
#endif
  std::atomic<int> ended = 0;
  std::latch all(count);
  for (int i = 0; i < count; ++i) {
    Task<>::detached([&]() -> Async<void> {
      co_await Task<>::yield();
      ended.fetch_add(1, std::memory_order_relaxed);
      all.count_down();
    });
  }
  all.wait();
  EXPECT_EQ(ended, count);
}

TEST(Task, ManyWaitersAllGoOn) {
  for (int round = 0; round < repetitions(50); ++round) {
    std::latch gate(1);
    const Task<int> source(onThePool, [&] {
      gate.wait();
      return 3;
    });
    std::vector<Task<int>> waiters;
    for (int i = 0; i < 50; ++i) {
      waiters.emplace_back(onThePool, [source]() -> Async<int> { co_return co_await source.value(); });
    }
    gate.count_down();
    int sum = 0;
    for (const auto& waiter : waiters) sum += syncWait(waiter.value());
    EXPECT_EQ(sum, 150);
  }
}

TEST(Task, GivesAResultThatCannotBeCopiedToTheFirst) {
  const Task<std::unique_ptr<int>> task([] { return std::make_unique<int>(9); });
  EXPECT_EQ(*syncWait(task.value()), 9);
}

TEST(Task, HandlesAreEqualWhenTheyNameTheSameTask) {
  const Task<> first([] {});
  const Task<> copy = first;
  const Task<> second([] {});
  EXPECT_EQ(first, copy);
  EXPECT_NE(first, second);
  syncWait(second.value());
  syncWait(first.value());
}

TEST(Task, LowerPrioritiesWaitBehindHigherOnes) {
  // Both threads of the pool are held while the jobs queue up, so the order is the queue's.
  const unsigned threads = std::thread::hardware_concurrency();
  std::latch held(threads);
  std::latch gate(1);
  std::vector<Task<>> holders;
  for (unsigned i = 0; i < threads; ++i) {
    holders.push_back(Task<>::detached([&] {
      held.count_down();
      gate.wait();
    }));
  }
  held.wait();
  std::atomic<int> highLeft = 100;
  std::atomic<bool> isInOrder = true;
  std::vector<Task<>> tasks;
  for (int i = 0; i < 100; ++i) {
    tasks.push_back(Task<>::detached({.priority = TaskPriority::background}, [&] {
      // With several threads the last of the high ones may still be running.
      if (highLeft.load() > static_cast<int>(threads)) isInOrder = false;
    }));
    tasks.push_back(Task<>::detached({.priority = TaskPriority::high}, [&] { highLeft.fetch_sub(1); }));
  }
  gate.count_down();
  for (const auto& task : tasks) syncWait(task.finished());
  for (const auto& holder : holders) syncWait(holder.finished());
  EXPECT_TRUE(isInOrder);
}

TEST(TaskDeathTest, StopsTheProcessWhenAResultThatCannotBeCopiedIsTakenTwice) {
  EXPECT_DEATH(
      {
        const Task<std::unique_ptr<int>> task([] { return std::make_unique<int>(9); });
        static_cast<void>(syncWait(task.value()));
        static_cast<void>(syncWait(task.value()));
      },
      "^Tessaly/Task:[0-9]+: Fatal error: The result of a task was taken twice, and cannot be copied\n$");
}

struct ThrowingMove {
  ThrowingMove() = default;
  ThrowingMove(const ThrowingMove&) = default;
  // NOLINTNEXTLINE(performance-noexcept-move-constructor): it throws on purpose.
  ThrowingMove(ThrowingMove&& other) : moves(other.moves + 1) {
    if (moves == 1) throw std::runtime_error("move");
  }
  ThrowingMove& operator=(ThrowingMove) = delete;
  int moves = 0;
};

TEST(Task, ResultWhoseMoveThrowsBecomesTheError) {
  const Task<ThrowingMove> task({.isolation = Isolation()}, []() -> Async<ThrowingMove> {
    const ThrowingMove result;
    co_return result;
  });
  EXPECT_THROW(syncWait(task.value()), std::runtime_error);
}

}  // namespace
}  // namespace Tessaly
