// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <concepts>
#include <exception>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "Tessaly/Core/Tasks/AsyncThrowingStream.hpp"
#include "tests/Core/Tasks/Streams.hpp"

namespace Tessaly {
namespace {

using Tests::answerOf;
using Tests::answersOf;
using Tests::failingStreamOf;
using Tests::Request;
using Tests::settle;
using Tests::start;
using Tests::textOf;

using Stream = AsyncThrowingStream<int>;
using Events = std::vector<std::string>;

TEST(AsyncThrowingStream, IsASequenceThatMayFailWithAnything) {
  static_assert(AsyncSequence<Stream>);
  static_assert(std::same_as<Stream::Element, int>);
  static_assert(std::same_as<Stream::Failure, std::exception_ptr>);
}

TEST(AsyncThrowingStream, GivesItsErrorOnceAfterTheBufferedElementsAndThenTheEndForEver) {
  const Stream stream = failingStreamOf({1, 2}, "disk full");
  auto iterator = stream.makeAsyncIterator();
  EXPECT_EQ(answersOf(iterator), "1 2 error: disk full");
  auto second = stream.makeAsyncIterator();
  EXPECT_EQ(answersOf(second), "end");
  EXPECT_EQ(answersOf(iterator), "end");
}

TEST(AsyncThrowingStream, GivesItsErrorToTheOldestWaiterAndTheEndToTheOthers) {
  auto [stream, continuation] = Stream::makeStream();
  const Request first(stream.makeAsyncIterator());
  EXPECT_EQ(first.answer(), "waiting");
  const Request second(stream.makeAsyncIterator());
  EXPECT_EQ(second.answer(), "waiting");
  const Request third(stream.makeAsyncIterator());
  EXPECT_EQ(third.answer(), "waiting");
  Events events;
  continuation.setOnTermination([&](const StreamTermination& termination) {
    events = {textOf(termination), first.answer(), second.answer(), third.answer()};
  });
  continuation.finish(std::runtime_error("disk full"));
  EXPECT_EQ(events, (Events{"finished: disk full", "waiting", "waiting", "waiting"}));
  EXPECT_EQ(first.answer(), "error: disk full");
  EXPECT_EQ(second.answer(), "end");
  EXPECT_EQ(third.answer(), "end");
  EXPECT_EQ(Request(stream.makeAsyncIterator()).answer(), "end");
}

TEST(AsyncThrowingStream, KeepsItsFirstErrorWhateverIsFinishedLater) {
  auto [stream, continuation] = Stream::makeStream();
  Events events;
  continuation.setOnTermination([&](const StreamTermination& termination) {
    events.push_back(textOf(termination));
    continuation.finish(std::runtime_error("inside"));
  });
  continuation.finish(std::runtime_error("first"));
  continuation.finish(std::runtime_error("second"));
  continuation.finish();
  EXPECT_EQ(events, Events{"finished: first"});
  auto iterator = stream.makeAsyncIterator();
  EXPECT_EQ(answersOf(iterator), "error: first");
  EXPECT_EQ(answersOf(iterator), "end");
}

TEST(AsyncThrowingStream, HasNoErrorWhenItWasFinishedWithoutOne) {
  for (const bool isNull : {false, true}) {
    auto [stream, continuation] = Stream::makeStream();
    continuation.setOnTermination(
        [&](const StreamTermination& termination) { EXPECT_EQ(textOf(termination), "finished"); });
    if (isNull) {
      continuation.finish(nullptr);
    } else {
      continuation.finish();
    }
    continuation.finish(std::runtime_error("late"));
    auto iterator = stream.makeAsyncIterator();
    EXPECT_EQ(answersOf(iterator), "end");
  }
}

TEST(AsyncThrowingStream, TakesErrorsOfAnyKind) {
  auto [stream, continuation] = Stream::makeStream();
  continuation.finish(std::make_exception_ptr(7));
  int caught = 0;
  start([&]() -> Async<void> {
    auto iterator = stream.makeAsyncIterator();
    try {
      co_await iterator.next();
    } catch (int error) {
      caught = error;
    }
  });
  settle();
  EXPECT_EQ(caught, 7);
}

TEST(AsyncThrowingStream, FreesAnErrorThatNobodyTook) {
  const auto witness = std::make_shared<int>(1);
  struct Witnessed : std::exception {
    explicit Witnessed(std::shared_ptr<int> witness) : witness(std::move(witness)) {}
    std::shared_ptr<int> witness;
  };
  {
    auto [stream, continuation] = Stream::makeStream();
    continuation.finish(Witnessed(witness));
    EXPECT_EQ(witness.use_count(), 2);
  }
  EXPECT_EQ(witness.use_count(), 1);
}

TEST(AsyncThrowingStream, DeliversToTheCancelledConsumerTheErrorThatTheHandlerFinishesWith) {
  auto [stream, continuation] = Stream::makeStream();
  Events events;
  continuation.setOnTermination([&](const StreamTermination& termination) {
    events.push_back(textOf(termination));
    events.push_back(textOf(continuation.yield(1)));
    continuation.finish(std::runtime_error("stopped"));
    continuation.finish(std::runtime_error("stopped again"));
  });
  Request first(stream.makeAsyncIterator());
  EXPECT_EQ(first.answer(), "waiting");
  const Request second(stream.makeAsyncIterator());
  EXPECT_EQ(second.answer(), "waiting");
  first.cancel();
  EXPECT_EQ(events, (Events{"cancelled", "terminated"}));
  EXPECT_EQ(first.answer(), "error: stopped");
  EXPECT_EQ(second.answer(), "end");
  EXPECT_EQ(Request(stream.makeAsyncIterator()).answer(), "end");
}

TEST(AsyncThrowingStream, DeliversWhatIsBufferedBeforeTheErrorThatTheHandlerFinishesWith) {
  auto [stream, continuation] = Stream::makeStream();
  continuation.setOnTermination([&](const StreamTermination&) { continuation.finish(std::runtime_error("stopped")); });
  continuation.yield(1);
  continuation.yield(2);
  Request cancelled(stream.makeAsyncIterator());
  cancelled.cancel();
  EXPECT_EQ(cancelled.answer(), "1");
  auto iterator = stream.makeAsyncIterator();
  EXPECT_EQ(answersOf(iterator), "2 error: stopped");
  EXPECT_EQ(answersOf(iterator), "end");
}

TEST(AsyncThrowingStream, HasNoErrorWhenTheHandlerFinishesItFirstWithoutOne) {
  auto [stream, continuation] = Stream::makeStream();
  continuation.setOnTermination([&](const StreamTermination&) {
    continuation.finish();
    continuation.finish(std::runtime_error("late"));
  });
  Request cancelled(stream.makeAsyncIterator());
  settle();
  cancelled.cancel();
  EXPECT_EQ(cancelled.answer(), "end");
  EXPECT_EQ(Request(stream.makeAsyncIterator()).answer(), "end");
}

TEST(AsyncThrowingStream, IgnoresAnErrorOnceTheHandlerOfACancellationHasReturned) {
  auto [stream, continuation] = Stream::makeStream();
  Request cancelled(stream.makeAsyncIterator());
  settle();
  cancelled.cancel();
  continuation.finish(std::runtime_error("late"));
  EXPECT_EQ(cancelled.answer(), "end");
  EXPECT_EQ(Request(stream.makeAsyncIterator()).answer(), "end");
}

TEST(AsyncThrowingStream, PassesItsErrorOutOfANextInAnIsolation) {
  const Stream stream = failingStreamOf({}, "disk full");
  std::string answer;
  start([&]() -> Async<void> {
    auto iterator = stream.makeAsyncIterator();
    try {
      co_await iterator.next(Isolation::serial());
    } catch (const std::runtime_error& error) {
      answer = error.what() + std::string(Isolation::current() == Isolation() ? " and back" : " and lost");
    }
  });
  settle();
  EXPECT_EQ(answer, "disk full and back");
}

TEST(AsyncThrowingStream, UnfoldsUntilTheProducerThrowsAndHasThenEnded) {
  const auto witness = std::make_shared<int>(1);
  int calls = 0;
  int cancellations = 0;
  const auto stream = Stream::unfolding(
      [&, witness]() -> Async<std::optional<int>> {
        if (++calls == 2) throw std::runtime_error("torn");
        co_return calls;
      },
      [&] { ++cancellations; });
  auto iterator = stream.makeAsyncIterator();
  EXPECT_EQ(answersOf(iterator), "1 error: torn");
  EXPECT_EQ(witness.use_count(), 1);
  EXPECT_EQ(answersOf(iterator), "end");
  EXPECT_EQ(calls, 2);
  EXPECT_EQ(cancellations, 0);
}

TEST(AsyncThrowingStream, EndsTooWhenThePlainFunctionThatUnfoldsThrowsBeforeItsFirstAwait) {
  const auto stream = Stream::unfolding([]() -> Async<std::optional<int>> { throw std::runtime_error("refused"); });
  auto iterator = stream.makeAsyncIterator();
  EXPECT_EQ(answersOf(iterator), "error: refused");
  EXPECT_EQ(answersOf(iterator), "end");
}

}  // namespace
}  // namespace Tessaly
