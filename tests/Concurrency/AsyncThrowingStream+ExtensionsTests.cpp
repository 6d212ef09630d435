// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <utility>

#include "Sequences.hpp"
#include "Tessaly/Concurrency/AsyncSequence+Extensions.hpp"
#include "Tessaly/Concurrency/AsyncThrowingStream+Extensions.hpp"

namespace Tessaly {
namespace {

using Tests::answersOf;
using Tests::settle;
using Tests::textOf;

using Stream = AsyncThrowingStream<int>;

// A stream that logs every event.
struct Handled {
  Handled()
      : source(Stream::makeStream()),
        stream(handleElement(
            source.stream, [this](int element) { told += std::to_string(element) + " "; },
            [this](const StreamTermination& termination) { told += textOf(termination) + " "; })) {}
  Stream::StreamAndContinuation source;
  std::string told;
  Stream stream;
};

TEST(AsyncThrowingStreamExtensions, ElementsAreShownAndPassedOnUntilTheEnd) {
  SeededScheduler::install();
  Handled handled;
  for (const int element : {1, 2}) handled.source.continuation.yield(element);
  handled.source.continuation.finish();
  settle();
  EXPECT_EQ(handled.told, "1 2 finished ");  // No consumer has requested an element yet.
  auto iterator = handled.stream.makeAsyncIterator();
  EXPECT_EQ(answersOf(iterator), "1 2 end");
}

TEST(AsyncThrowingStreamExtensions, ErrorIsReportedAndPassedOn) {
  SeededScheduler::install();
  Handled handled;
  handled.source.continuation.yield(1);
  handled.source.continuation.finish(std::runtime_error("broken"));
  auto iterator = handled.stream.makeAsyncIterator();
  EXPECT_EQ(answersOf(iterator), "1 error: broken");
  EXPECT_EQ(handled.told, "1 finished: broken ");
}

TEST(AsyncThrowingStreamExtensions, CancellationIsReportedTwice) {
  SeededScheduler::install();
  Handled handled;
  handled.source.continuation.yield(1);
  handled.source.continuation.finish(CancellationError());
  auto iterator = handled.stream.makeAsyncIterator();
  EXPECT_EQ(Tests::resultOf(iterator.next(Isolation())), 1);
  EXPECT_THROW(Tests::resultOf(iterator.next(Isolation())), CancellationError);
  EXPECT_EQ(Tests::resultOf(iterator.next(Isolation())), std::nullopt);
  EXPECT_EQ(handled.told, "1 cancelled finished ");
}

TEST(AsyncThrowingStreamExtensions, EachElementIsShownBeforeItCanBeReceived) {
  SeededScheduler::install();
  auto [source, continuation] = Stream::makeStream();
  std::string told;
  const auto stream =
      handleElement(source, [&](int element) { told += "shown " + std::to_string(element) + " "; }, [](const auto&) {});
  const auto consumer = Tests::start([&]() -> Async<void> {
    auto iterator = stream.makeAsyncIterator();
    while (auto element = co_await iterator.next()) told += "received " + std::to_string(*element) + " ";
  });
  settle();
  for (const int element : {1, 2}) {
    continuation.yield(element);
    settle();
  }
  EXPECT_EQ(told, "shown 1 received 1 shown 2 received 2 ");
  continuation.finish();
  settle();
}

TEST(AsyncThrowingStreamExtensions, TerminationIsReportedBeforeTheStreamEnds) {
  SeededScheduler::install();
  for (const bool fails : {false, true}) {
    auto [source, continuation] = Stream::makeStream();
    std::string told;
    const auto stream = handleElement(source, [](int) {}, [&](const StreamTermination&) { told += "told "; });
    const auto consumer = Tests::start([&]() -> Async<void> {
      auto iterator = stream.makeAsyncIterator();
      try {
        co_await iterator.next();
      } catch (const std::exception&) {
      }
      told += "ended";
    });
    settle();
    fails ? continuation.finish(std::runtime_error("broken")) : continuation.finish();
    settle();
    EXPECT_EQ(told, "told ended");
  }
}

TEST(AsyncThrowingStreamExtensions, ACancelledConsumerEndsOnlyTheNewStream) {
  SeededScheduler::install();
  Handled handled;
  auto consumer = Tests::start([&]() -> Async<void> {
    auto iterator = handled.stream.makeAsyncIterator();
    while (co_await iterator.next()) {
    }
  });
  settle();
  consumer.cancel();
  settle();
  EXPECT_TRUE(consumer.isFinished());
  EXPECT_EQ(handled.told, "");
  EXPECT_EQ(handled.source.continuation.yield(1).kind, YieldResultKind::enqueued);
  settle();
  EXPECT_EQ(handled.told, "1 ");
  handled.source.continuation.finish();
  settle();
  EXPECT_EQ(handled.told, "1 finished ");
}

TEST(AsyncThrowingStreamExtensions, ASourceMayFailAtEachStep) {
  SeededScheduler& scheduler = SeededScheduler::install();
  for (std::uint64_t seed = 0; seed < 20; ++seed) {
    for (int failing = 0; failing <= 3; ++failing) {
      for (int steps = 0; steps < 12; ++steps) {
        scheduler.reseed(seed);
        Handled handled;
        std::string expected;
        for (int element = 0; element < failing; ++element) {
          handled.source.continuation.yield(element);
          expected += std::to_string(element) + " ";
        }
        for (int step = 0; step < steps && scheduler.runOne(); ++step) {
        }
        handled.source.continuation.finish(std::runtime_error("broken"));
        auto iterator = handled.stream.makeAsyncIterator();
        ASSERT_EQ(answersOf(iterator), expected + "error: broken");
        ASSERT_EQ(handled.told, expected + "finished: broken ");
      }
    }
  }
}

TEST(AsyncThrowingStreamExtensions, AConsumerMayBeCancelledAtAnyStep) {
  SeededScheduler& scheduler = SeededScheduler::install();
  for (std::uint64_t seed = 0; seed < 20; ++seed) {
    for (int steps = 0; steps < 20; ++steps) {
      scheduler.reseed(seed);
      Handled handled;
      auto consumer = Tests::start([stream = handled.stream]() -> Async<void> {
        auto iterator = stream.makeAsyncIterator();
        while (co_await iterator.next()) {
        }
      });
      for (const int element : {1, 2}) handled.source.continuation.yield(element);
      for (int step = 0; step < steps && scheduler.runOne(); ++step) {
      }
      consumer.cancel();
      settle();
      ASSERT_TRUE(consumer.isFinished());
      ASSERT_EQ(handled.source.continuation.yield(3).kind, YieldResultKind::enqueued);
      handled.source.continuation.finish();
      settle();
      ASSERT_EQ(handled.told, "1 2 3 finished ");  // Every element is shown, even without a consumer.
    }
  }
}

TEST(AsyncThrowingStreamExtensions, ConsumerCancelledInTheSourceSeesTheEnd) {
  SeededScheduler::install();
  Handled handled;
  // Cancelling a consumer of the source ends the source, without an error.
  auto iterator = handled.source.stream.makeAsyncIterator();
  auto consumer = Tests::start([&]() -> Async<void> { co_await iterator.next(); });
  consumer.cancel();
  settle();
  EXPECT_EQ(handled.told, "finished ");
}

TEST(AsyncThrowingStreamExtensionsDeathTest, TheFunctionsMustNotThrow) {
  const auto run = [](auto onReceiveValue, auto onTermination) {
    SeededScheduler::install();
    const auto stream = handleElement(Tests::failingStreamOf({1}, "broken"), onReceiveValue, onTermination);
    settle();
  };
  EXPECT_EXIT(run([](int) { throw 1; }, [](const auto&) {}), testing::KilledBySignal(SIGABRT),
              "A function that receives elements has thrown");
  EXPECT_EXIT(run([](int) {}, [](const auto&) { throw 1; }), testing::KilledBySignal(SIGABRT),
              "A termination function has thrown");
}

}  // namespace
}  // namespace Tessaly
