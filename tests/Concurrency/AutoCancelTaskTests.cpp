// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>
#include <vector>

#include "Tessaly/Concurrency/AutoCancelTask.hpp"
#include "Tessaly/Platform/Testing/ManualClock.hpp"
#include "tests/Core/Tasks/Streams.hpp"

namespace Tessaly {
namespace {

using Tests::settle;
using Tests::start;

// The outcome of an operation that sleeps for an hour.
struct Nap {
  Async<void> operator()() {
    try {
      co_await Task<>::sleep(std::chrono::hours(1), *clock);
      *outcome = "slept";
    } catch (const CancellationError&) {
      *outcome = "cancelled";
    }
  }
  ManualClock* clock;
  std::shared_ptr<std::string> outcome = std::make_shared<std::string>("sleeping");
};

// Runs the body in a task of the seeded scheduler, so that the scheduler also runs the tasks that the body starts.
template <typename Body>
void inATask(Body body) {
  const auto task = start([&] { body(); });
  settle();
  ASSERT_TRUE(task.isFinished());
}

TEST(AutoCancelTask, IsMovedButNeverCopied) {
  static_assert(!std::is_copy_constructible_v<AutoCancelTask<>> && !std::is_copy_assignable_v<AutoCancelTask<>>);
  static_assert(std::is_nothrow_move_constructible_v<AutoCancelTask<int>>);
  static_assert(std::is_nothrow_move_assignable_v<AutoCancelTask<int>>);
}

TEST(AutoCancelTask, DroppingItCancelsItsOperation) {
  ManualClock clock;
  const Nap nap{&clock};
  std::optional<AutoCancelTask<>> task;
  inATask([&] { task.emplace(nap); });
  EXPECT_EQ(*nap.outcome, "sleeping");
  task.reset();
  settle();
  EXPECT_EQ(*nap.outcome, "cancelled");
}

TEST(AutoCancelTask, StartsAtOnceWithoutAnybodyAwaitingIt) {
  bool ran = false;
  std::optional<AutoCancelTask<>> task;
  inATask([&] { task.emplace([&] { ran = true; }); });
  EXPECT_TRUE(ran);
  EXPECT_FALSE(task->isCancelled());
}

TEST(AutoCancelTask, CancellingKeepsTheHandleValid) {
  ManualClock clock;
  const Nap nap{&clock};
  std::optional<AutoCancelTask<>> task;
  inATask([&] { task.emplace(nap); });
  EXPECT_FALSE(task->isCancelled());
  task->cancel();
  EXPECT_TRUE(task->isCancelled());
  task->cancel();
  settle();
  EXPECT_EQ(*nap.outcome, "cancelled");
}

TEST(AutoCancelTask, DestroyingTheHandleDoesNotAffectAnEndedTask) {
  ManualClock clock;
  const Nap nap{&clock};
  std::optional<AutoCancelTask<>> task;
  inATask([&] { task.emplace(nap); });
  clock.advance(std::chrono::hours(1));
  settle();
  task.reset();
  settle();
  EXPECT_EQ(*nap.outcome, "slept");
}

TEST(AutoCancelTask, StoredTasksAreCancelledWhenTheirCollectionIsCleared) {
  ManualClock clock;
  std::vector<AutoCancelTask<>> tasks;
  std::vector<Nap> naps;
  inATask([&] {
    for (int i = 0; i < 3; ++i) {
      naps.push_back({&clock});
      AutoCancelTask<>(naps.back()).store(tasks);
    }
  });
  EXPECT_EQ(tasks.size(), 3u);
  for (const auto& nap : naps) EXPECT_EQ(*nap.outcome, "sleeping");
  tasks.clear();
  settle();
  for (const auto& nap : naps) EXPECT_EQ(*nap.outcome, "cancelled");
}

TEST(AutoCancelTask, MovingKeepsTheTaskRunning) {
  ManualClock clock;
  const Nap nap{&clock};
  std::optional<AutoCancelTask<>> kept;
  inATask([&] {
    AutoCancelTask<> first(nap);
    AutoCancelTask<> second(std::move(first));
    kept.emplace(std::move(second));
  });
  EXPECT_EQ(*nap.outcome, "sleeping");
  EXPECT_FALSE(kept->isCancelled());
}

TEST(AutoCancelTask, AssigningCancelsThePreviousTask) {
  ManualClock clock;
  const Nap first{&clock};
  const Nap second{&clock};
  std::optional<AutoCancelTask<>> task;
  inATask([&] {
    task.emplace(first);
    *task = AutoCancelTask<>(second);
  });
  EXPECT_EQ(*first.outcome, "cancelled");
  EXPECT_EQ(*second.outcome, "sleeping");
  inATask([&] {
    AutoCancelTask<>& same = *task;
    *task = std::move(same);
  });
  EXPECT_EQ(*second.outcome, "sleeping");
}

TEST(AutoCancelTask, InheritsThePriorityUnlessItHasOneOfItsOwn) {
  std::vector<TaskPriority> priorities;
  std::vector<AutoCancelTask<>> tasks;
  const auto note = [&] { priorities.push_back(Task<>::currentPriority()); };
  const auto starter = start({.priority = TaskPriority::low}, [&]() -> Async<void> {
    AutoCancelTask<>(note).store(tasks);
    co_await Task<>::yield();
    AutoCancelTask<>(TaskPriority::high, note).store(tasks);
  });
  settle();
  EXPECT_EQ(priorities.size(), 2u);
  EXPECT_NE(std::ranges::find(priorities, TaskPriority::low), priorities.end());
  EXPECT_NE(std::ranges::find(priorities, TaskPriority::high), priorities.end());
}

TEST(AutoCancelTask, RunsInTheIsolationOfItsMaker) {
  const Isolation isolation = Isolation::serial();
  std::optional<Isolation> seen;
  std::optional<AutoCancelTask<>> task;
  const auto starter = start({.isolation = isolation}, [&] { task.emplace([&] { seen = Isolation::current(); }); });
  settle();
  EXPECT_EQ(seen, isolation);
}

TEST(AutoCancelTask, EndedOperationReleasesItsCaptures) {
  const auto held = std::make_shared<int>(1);
  std::optional<AutoCancelTask<int>> task;
  inATask([&] { task.emplace([held] { return *held; }); });
  EXPECT_EQ(held.use_count(), 1);
}

TEST(AutoCancelTask, DoesNotReportExceptionsOfTheOperation) {
  std::optional<AutoCancelTask<int>> task;
  inATask([&] { task.emplace([]() -> int { throw std::runtime_error("unseen"); }); });
  task.reset();
}

TEST(AutoCancelTaskDeathTest, UseAfterAMoveStopsTheProcess) {
  constexpr auto moved =
      "Tessaly/AutoCancelTask:[0-9]+: Fatal error: An AutoCancelTask was used after it had been moved from\n";
  AutoCancelTask<> task([] {});
  std::vector<AutoCancelTask<>> tasks;
  task.store(tasks);
  EXPECT_EXIT(task.cancel(), testing::KilledBySignal(SIGABRT), testing::MatchesRegex(moved));          // NOLINT
  EXPECT_EXIT(task.store(tasks), testing::KilledBySignal(SIGABRT), testing::MatchesRegex(moved));      // NOLINT
  EXPECT_EXIT(static_cast<void>(task.isCancelled()), testing::KilledBySignal(SIGABRT), "moved from");  // NOLINT
}

}  // namespace
}  // namespace Tessaly
