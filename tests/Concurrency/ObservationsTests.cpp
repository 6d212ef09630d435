// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <concepts>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "Tessaly/Concurrency/Observations.hpp"
#include "Tessaly/Core/Observation/ObservationRegistrar.hpp"
#include "Tessaly/Core/Observation/Property.hpp"
#include "Tessaly/Core/Tasks/SyncWait.hpp"
#include "Tessaly/Platform/Testing/SeededScheduler.hpp"
#include "tests/Support/Repetitions.hpp"
#include "tests/Support/SlowCounter.hpp"

namespace Tessaly {
namespace {

using testing::ElementsAre;
using Tests::incrementThrice;
using Tests::repetitions;
using Tests::SlowCounter;

struct Player {
  Property<int> volume = 1;
  Property<int> position = 0;
};

/// A number that any thread may change while others read it.
class Counter {
 public:
  int value() const {
    registrar_.access(*this, keyPath<&Counter::value>);
    return value_.load();
  }
  void increment() {
    registrar_.withMutation(*this, keyPath<&Counter::value>, [&] { value_.fetch_add(1); });
  }

 private:
  std::atomic<int> value_ = 0;
  ObservationRegistrar registrar_;
};

/// Awaits `count` elements in a task of its own.
template <typename Iterator>
class Consumer {
 public:
  explicit Consumer(Iterator iterator)
      : seen_(std::make_shared<std::vector<int>>()),
        task_(Task<>::detached([seen = seen_, iterator]() mutable { return consume(seen, &iterator); })) {}
  const std::vector<int>& seen() const { return *seen_; }
  const Task<>& task() const { return task_; }

 private:
  static Async<void> consume(std::shared_ptr<std::vector<int>> seen, Iterator* iterator) {
    while (!Task<>::isCurrentCancelled()) seen->push_back(*co_await iterator->next());
  }
  std::shared_ptr<std::vector<int>> seen_;
  Task<> task_;
};

TEST(Observations, IsASequenceThatCannotFail) {
  static_assert(AsyncSequence<Observations<int>>);
  static_assert(std::same_as<Observations<int>::Element, int>);
  static_assert(std::same_as<Observations<int>::Failure, Never>);
  const Observations made([] { return std::string("text"); });
  static_assert(std::same_as<decltype(made), const Observations<std::string>>);
}

TEST(Observations, GivesThePresentResultFirstWithoutWaiting) {
  const auto player = std::make_shared<Player>();
  const Observations volumes([player] { return player->volume * 10; });
  EXPECT_EQ(syncWait([&]() -> Async<int> { co_return *co_await volumes.makeAsyncIterator().next(); }), 10);
}

TEST(Observations, ChangeOfAReadPropertyGivesAnElement) {
  auto& scheduler = SeededScheduler::install();
  const auto player = std::make_shared<Player>();
  const Observations volumes([player] { return player->volume.value(); });
  const Consumer consumer(volumes.makeAsyncIterator());
  scheduler.runUntilIdle();
  EXPECT_THAT(consumer.seen(), ElementsAre(1));
  player->position = 5;
  scheduler.runUntilIdle();
  EXPECT_THAT(consumer.seen(), ElementsAre(1));
  player->volume = 2;
  scheduler.runUntilIdle();
  EXPECT_THAT(consumer.seen(), ElementsAre(1, 2));
  player->volume = 3;
  player->volume = 4;
  scheduler.runUntilIdle();
  EXPECT_THAT(consumer.seen(), ElementsAre(1, 2, 4));
  consumer.task().cancel();
  scheduler.runUntilIdle();
}

TEST(Observations, ChangesBetweenRequestsGiveOneElement) {
  const auto player = std::make_shared<Player>();
  const Observations volumes([player] { return player->volume.value(); });
  syncWait([&]() -> Async<void> {
    auto iterator = volumes.makeAsyncIterator();
    EXPECT_EQ(co_await iterator.next(), 1);
    player->volume = 2;
    player->volume = 3;
    EXPECT_EQ(co_await iterator.next(), 3);
    player->volume = 4;
    EXPECT_EQ(co_await iterator.next(), 4);
  });
}

TEST(Observations, IteratorsTrackIndependently) {
  const auto player = std::make_shared<Player>();
  const Observations volumes([player] { return player->volume.value(); });
  syncWait([&]() -> Async<void> {
    auto first = volumes.makeAsyncIterator();
    auto second = volumes.makeAsyncIterator();
    EXPECT_EQ(co_await first.next(), 1);
    player->volume = 2;
    EXPECT_EQ(co_await second.next(), 2);
    EXPECT_EQ(co_await first.next(), 2);
  });
}

TEST(Observations, FollowThePropertiesOfTheLastComputation) {
  auto& scheduler = SeededScheduler::install();
  const auto player = std::make_shared<Player>();
  const Observations values([player] { return player->volume > 5 ? player->position : player->volume; });
  const Consumer consumer(values.makeAsyncIterator());
  scheduler.runUntilIdle();
  player->volume = 6;
  scheduler.runUntilIdle();
  player->position = 100;
  scheduler.runUntilIdle();
  player->volume = 2;
  scheduler.runUntilIdle();
  player->position = 200;
  scheduler.runUntilIdle();
  EXPECT_THAT(consumer.seen(), ElementsAre(1, 0, 100, 2));
  consumer.task().cancel();
  scheduler.runUntilIdle();
}

TEST(Observations, CancelledConsumerGetsAFreshElement) {
  auto& scheduler = SeededScheduler::install();
  const auto player = std::make_shared<Player>();
  const Observations volumes([player] { return player->volume.value(); });
  const Consumer consumer(volumes.makeAsyncIterator());
  scheduler.runUntilIdle();
  consumer.task().cancel();
  scheduler.runUntilIdle();
  EXPECT_TRUE(consumer.task().isFinished());
  EXPECT_THAT(consumer.seen(), ElementsAre(1, 1));
}

TEST(Observations, WaitAgainAfterACancelledWait) {
  auto& scheduler = SeededScheduler::install();
  const auto player = std::make_shared<Player>();
  const Observations volumes([player] { return player->volume.value(); });
  auto iterator = volumes.makeAsyncIterator();
  int elements = 0;
  const auto take = [&]() -> Async<void> {
    co_await iterator.next();
    ++elements;
  };
  const auto cancelled = [&] {
    const Task<> task = Task<>::detached(take);
    scheduler.runUntilIdle();
    task.cancel();
    scheduler.runUntilIdle();
    EXPECT_TRUE(task.isFinished());
  };
  cancelled();
  EXPECT_EQ(elements, 1);
  cancelled();
  EXPECT_EQ(elements, 2);
  const Task<> several = Task<>::detached([&]() -> Async<void> {
    co_await take();
    co_await take();
  });
  scheduler.runUntilIdle();
  EXPECT_EQ(elements, 2);
  several.cancel();
  scheduler.runUntilIdle();
  EXPECT_TRUE(several.isFinished());
  EXPECT_EQ(elements, 4);
  const Task<> waiting = Task<>::detached(take);
  scheduler.runUntilIdle();
  EXPECT_FALSE(waiting.isFinished());
  player->volume = 2;
  scheduler.runUntilIdle();
  EXPECT_TRUE(waiting.isFinished());
  EXPECT_EQ(elements, 5);
}

TEST(Observations, ComputeInTheIsolationOfTheConsumerOrTheGivenOne) {
  const auto player = std::make_shared<Player>();
  const Isolation own = Isolation::serial();
  const Isolation other = Isolation::serial();
  std::vector<Isolation> isolations;
  const Observations volumes([&, player] {
    isolations.push_back(Isolation::current());
    return player->volume.value();
  });
  const Task<> task({.isolation = own}, [&]() -> Async<void> {
    auto iterator = volumes.makeAsyncIterator();
    co_await iterator.next();
    co_await iterator.next(other);
    EXPECT_EQ(Isolation::current(), own);
  });
  syncWait([&]() -> Async<void> {
    co_await withIsolation(own, [&] { player->volume = 2; });
    while (!task.isFinished()) {
      co_await withIsolation(own, [&] { player->volume += 1; });
      co_await Task<>::yield();
    }
  });
  EXPECT_THAT(isolations, ElementsAre(own, other));
}

TEST(Observations, OuterTrackingDoesNotSeeTheReads) {
  const auto player = std::make_shared<Player>();
  const Observations volumes(
      [player] { return withObservationTracking([&] { return player->volume.value(); }, [] {}); });
  syncWait([&]() -> Async<void> {
    auto iterator = volumes.makeAsyncIterator();
    EXPECT_EQ(co_await iterator.next(), 1);
    player->volume = 2;
    EXPECT_EQ(co_await iterator.next(), 2);
  });
}

TEST(Observations, DestroyedIteratorLeavesNoObserver) {
  auto& scheduler = SeededScheduler::install();
  const auto player = std::make_shared<Player>();
  auto witness = std::make_shared<int>();
  {
    const Observations volumes([player, witness] { return player->volume.value(); });
    auto iterator = volumes.makeAsyncIterator();
    const Task<> once = Task<>::detached([&]() -> Async<void> { co_await iterator.next(); });
    scheduler.runUntilIdle();
    EXPECT_TRUE(once.isFinished());
  }
  scheduler.runUntilIdle();
  EXPECT_EQ(witness.use_count(), 1);
  player->volume = 2;
}

TEST(Observations, ServeSeveralConsumersOfOneIterator) {
  auto& scheduler = SeededScheduler::install();
  for (int seed = 0; seed < repetitions(200); ++seed) {
    scheduler.reseed(static_cast<std::uint64_t>(seed));
    const auto player = std::make_shared<Player>();
    const Observations volumes([player] { return player->volume.value(); });
    const auto iterator = volumes.makeAsyncIterator();
    const Consumer first(iterator);
    const Consumer second(iterator);
    scheduler.runUntilIdle();
    player->volume = 2;
    scheduler.runUntilIdle();
    ASSERT_EQ(first.seen().back(), 2);
    ASSERT_EQ(second.seen().back(), 2);
    first.task().cancel();
    second.task().cancel();
    scheduler.runUntilIdle();
    ASSERT_TRUE(first.task().isFinished() && second.task().isFinished());
  }
}

// A change may happen between any two steps of the consumer, of the waiting task and of the handler.
TEST(Observations, EveryOrderOfStepsKeepsEachChange) {
  auto& scheduler = SeededScheduler::install();
  for (int seed = 0; seed < repetitions(2'000); ++seed) {
    scheduler.reseed(static_cast<std::uint64_t>(seed));
    const auto player = std::make_shared<Player>();
    int changes = 0;
    const Observations volumes([player] { return player->volume.value(); });
    const Consumer consumer(volumes.makeAsyncIterator());
    const Task<> changer = Task<>::detached([&]() -> Async<void> {
      for (int i = 0; i < 4; ++i) {
        co_await Task<>::yield();
        player->volume += 1;
        ++changes;
      }
    });
    scheduler.runUntilIdle();
    ASSERT_TRUE(changer.isFinished());
    ASSERT_EQ(consumer.seen().back(), 5);
    ASSERT_LE(consumer.seen().size(), 5U);
    ASSERT_TRUE(std::ranges::is_sorted(consumer.seen()));
    consumer.task().cancel();
    scheduler.runUntilIdle();
    ASSERT_TRUE(consumer.task().isFinished());
  }
}

// The test runs both races in every order: a change between the reading and the registration, and a reading before the
// store.
TEST(Observations, ChangesDuringAComputationAreSeen) {
  auto& scheduler = SeededScheduler::install();
  for (int seed = 0; seed < repetitions(2'000); ++seed) {
    scheduler.reseed(static_cast<std::uint64_t>(seed));
    const auto counter = std::make_shared<SlowCounter>();
    const Observations values([counter] { return counter->value(); });
    const Consumer consumer(values.makeAsyncIterator());
    const Task<> first = Task<>::detached([&] { return incrementThrice(counter); });
    const Task<> second = Task<>::detached([&] { return incrementThrice(counter); });
    scheduler.runUntilIdle();
    ASSERT_TRUE(first.isFinished() && second.isFinished());
    ASSERT_EQ(consumer.seen().back(), 6) << seed;
    ASSERT_LE(consumer.seen().size(), 13U);
    consumer.task().cancel();
    scheduler.runUntilIdle();
    ASSERT_TRUE(consumer.task().isFinished());
  }
}

// The cancellation and a change happen at every pair of steps.
TEST(Observations, EndACancelledWaitInAnyOrderOfSteps) {
  auto& scheduler = SeededScheduler::install();
  for (int seed = 0; seed < repetitions(2'000); ++seed) {
    scheduler.reseed(static_cast<std::uint64_t>(seed));
    const auto player = std::make_shared<Player>();
    const Observations volumes([player] { return player->volume.value(); });
    const Consumer consumer(volumes.makeAsyncIterator());
    const Task<> changer = Task<>::detached([&]() -> Async<void> {
      co_await Task<>::yield();
      player->volume = 2;
    });
    const Task<> canceller = Task<>::detached([&]() -> Async<void> {
      co_await Task<>::yield();
      consumer.task().cancel();
    });
    scheduler.runUntilIdle();
    ASSERT_TRUE(consumer.task().isFinished()) << seed;
    ASSERT_TRUE(changer.isFinished() && canceller.isFinished());
    ASSERT_LE(consumer.seen().size(), 3U);
  }
}

TEST(Observations, EndOfAReadObjectGivesOneElement) {
  auto& scheduler = SeededScheduler::install();
  auto player = std::make_shared<Player>();
  const Observations volumes([weak = std::weak_ptr(player)] {
    const auto player = weak.lock();
    return player != nullptr ? player->volume.value() : -1;
  });
  const Consumer consumer(volumes.makeAsyncIterator());
  scheduler.runUntilIdle();
  player.reset();
  scheduler.runUntilIdle();
  EXPECT_THAT(consumer.seen(), ElementsAre(1, -1));
  consumer.task().cancel();
  scheduler.runUntilIdle();
}

TEST(Observations, GoOnAtOnceAfterAChangeByTheirConsumer) {
  const auto player = std::make_shared<Player>();
  const Observations volumes([player] { return player->volume.value(); });
  syncWait([&]() -> Async<void> {
    auto iterator = volumes.makeAsyncIterator();
    for (int volume = 1; volume < 5; ++volume) {
      EXPECT_EQ(co_await iterator.next(), volume);
      player->volume = volume + 1;
    }
  });
}

TEST(Observations, LastConcurrentChangeIsSeen) {
  for (int round = 0; round < repetitions(200); ++round) {
    const auto counter = std::make_shared<Counter>();
    const Observations values([counter] { return counter->value(); });
    std::vector<std::thread> writers;
    for (int i = 0; i < 2; ++i) {
      writers.emplace_back([&] {
        for (int n = 0; n < 25; ++n) counter->increment();
      });
    }
    // The wait ends only if no change is lost.
    syncWait([&]() -> Async<void> {
      auto iterator = values.makeAsyncIterator();
      while (*co_await iterator.next() < 50) {
      }
    });
    for (auto& writer : writers) writer.join();
  }
}

TEST(Observations, CancellationDuringAChangeEndsTheWait) {
  for (int round = 0; round < repetitions(300); ++round) {
    const auto counter = std::make_shared<Counter>();
    const Observations values([counter] { return counter->value(); });
    const Consumer consumer(values.makeAsyncIterator());
    std::thread changer([&] { counter->increment(); });
    std::thread canceller([&] { consumer.task().cancel(); });
    changer.join();
    canceller.join();
    syncWait(consumer.task().finished());
  }
}

}  // namespace
}  // namespace Tessaly
