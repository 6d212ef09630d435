// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "Sequences.hpp"
#include "Tessaly/Concurrency/AsyncStream+Extensions.hpp"
#include "Tessaly/Core/Observation/Property.hpp"
#include "tests/Support/Repetitions.hpp"

namespace Tessaly {
namespace {

using Tests::answerOf;
using Tests::answersOf;
using Tests::Request;
using Tests::settle;
using Options = NSKeyValueObservingOptions;

struct Player {
  Property<int> volume = 50;
  Property<std::string> title = "Nothing";
  [[nodiscard]] int half() const { return volume / 2; }
};

struct Observed {
  explicit Observed(Options options) : stream(AsyncStream<int>::observing(keyPath<&Player::volume>, player, options)) {}
  std::shared_ptr<Player> player = std::make_shared<Player>();
  std::optional<AsyncStream<int>> stream;
};

TEST(AsyncStreamExtensions, ObservingGivesEachNewValue) {
  Observed observed(Options::new_);
  for (const int volume : {10, 20, 20}) observed.player->volume = volume;
  auto iterator = observed.stream->makeAsyncIterator();
  EXPECT_EQ(answersOf(iterator), "10 20 20 waiting");
}

TEST(AsyncStreamExtensions, ObservingGivesTheValueAtTheStartIfAsked) {
  Observed observed(Options::new_ | Options::initial);
  observed.player->volume = 10;
  auto iterator = observed.stream->makeAsyncIterator();
  EXPECT_EQ(answersOf(iterator), "50 10 waiting");
}

TEST(AsyncStreamExtensions, ObservingSkipsChangesWithoutANewValue) {
  for (const Options options : {Options::none, Options::old, Options::initial, Options::old | Options::initial}) {
    Observed observed(options);
    observed.player->volume = 10;
    auto iterator = observed.stream->makeAsyncIterator();
    EXPECT_EQ(answersOf(iterator), "waiting");
  }
}

TEST(AsyncStreamExtensions, ObservingWakesAConsumerThatWaits) {
  Observed observed(Options::new_ | Options::old);
  Request request(observed.stream->makeAsyncIterator());
  EXPECT_EQ(request.answer(), "waiting");
  observed.player->volume = 30;
  EXPECT_EQ(request.answer(), "30");
}

TEST(AsyncStreamExtensions, ObservingSeesOtherKindsAndComputedProperties) {
  const auto player = std::make_shared<Player>();
  auto titles = AsyncStream<std::string>::observing(keyPath<&Player::title>, player, Options::new_).makeAsyncIterator();
  auto halves = AsyncStream<int>::observing(keyPath<&Player::half>, player, Options::new_).makeAsyncIterator();
  player->title = "Blue";
  player->volume = 8;
  EXPECT_EQ(answerOf(titles), "Blue");
  EXPECT_EQ(answerOf(halves), "4");
}

// A value with a count of its copies shows whether an observer still exists.
struct CountedReading {
  Property<std::shared_ptr<int>> value = std::make_shared<int>(0);
};

TEST(AsyncStreamExtensions, DroppingTheConsumerEndsTheObservation) {
  const auto object = std::make_shared<CountedReading>();
  const auto value = std::make_shared<int>(1);
  {
    const auto stream =
        AsyncStream<std::shared_ptr<int>>::observing(keyPath<&CountedReading::value>, object, Options::new_);
    object->value = value;
    EXPECT_EQ(value.use_count(), 3);  // The copies are here, in the property, and in the buffer.
  }
  EXPECT_EQ(value.use_count(), 2);
  object->value = std::make_shared<int>(2);
  object->value = value;
  EXPECT_EQ(value.use_count(), 2);
}

TEST(AsyncStreamExtensions, CancellingTheConsumerEndsTheObservation) {
  Observed observed(Options::new_);
  auto consumer = Tests::start([stream = *observed.stream]() -> Async<void> {
    auto iterator = stream.makeAsyncIterator();
    while (co_await iterator.next()) {
    }
  });
  settle();
  consumer.cancel();
  settle();
  EXPECT_TRUE(consumer.isFinished());
  observed.player->volume = 5;
  auto iterator = observed.stream->makeAsyncIterator();
  EXPECT_EQ(answerOf(iterator), "end");
}

TEST(AsyncStreamExtensions, ObjectAndStreamMayBeDestroyedInEitherOrder) {
  {
    Observed observed(Options::new_);
    observed.player->volume = 1;
    const std::weak_ptr<Player> player = observed.player;
    observed.player.reset();
    EXPECT_TRUE(player.expired());  // The stream does not keep the object alive.
    auto iterator = observed.stream->makeAsyncIterator();
    EXPECT_EQ(answersOf(iterator), "1 waiting");
  }
  {
    Observed observed(Options::new_);
    observed.stream.reset();
    observed.player->volume = 1;
  }
}

TEST(AsyncStreamExtensions, ConsumerMayEndDuringChangesOnOtherThreads) {
  for (int i = 0; i < Tests::repetitions(300); ++i) {
    Observed observed(Options::new_);
    std::atomic<bool> isChanging{false};
    std::jthread changer([player = observed.player, &isChanging] {
      for (int volume = 0; volume < 50; ++volume) {
        player->volume = volume;
        isChanging = true;
      }
    });
    while (!isChanging) std::this_thread::yield();
    observed.stream.reset();
    if (i % 2 == 0) observed.player.reset();
  }
}

}  // namespace
}  // namespace Tessaly
