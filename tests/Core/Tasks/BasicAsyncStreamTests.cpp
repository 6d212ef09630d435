// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <concepts>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "Tessaly/Core/Tasks/BasicAsyncStream.hpp"
#include "Tessaly/Core/Tasks/CheckedContinuation.hpp"
#include "tests/Core/Tasks/Streams.hpp"

namespace Tessaly {
namespace {

using Tests::answerOf;
using Tests::answersOf;
using Tests::nextText;
using Tests::Request;
using Tests::settle;
using Tests::start;
using Tests::textOf;

using Events = std::vector<std::string>;

/// What holds for streams that cannot fail and for those that may.
template <typename Stream>
class BothStreams : public testing::Test {
 protected:
  void recordTermination(const Stream::Continuation& continuation) {
    continuation.setOnTermination(
        [this](const StreamTermination& termination) { events.push_back(textOf(termination)); });
  }

  Events events;
};

using Forms = testing::Types<AsyncStream<int>, AsyncThrowingStream<int>>;
struct FormNames {
  template <typename Stream>
  static std::string GetName(int) {
    return std::same_as<typename Stream::Failure, Never> ? "AsyncStream" : "AsyncThrowingStream";
  }
};
TYPED_TEST_SUITE(BothStreams, Forms, FormNames);

// Making one.

TYPED_TEST(BothStreams, CallTheBuildFunctionOnceBeforeTheConstructorReturns) {
  int calls = 0;
  TypeParam stream([&](auto continuation) {
    ++calls;
    continuation.yield(1);
    continuation.finish();
  });
  EXPECT_EQ(calls, 1);
  auto iterator = stream.makeAsyncIterator();
  EXPECT_EQ(answersOf(iterator), "1 end");
  EXPECT_EQ(calls, 1);
}

TYPED_TEST(BothStreams, EndAsCancelledWhenTheBuildFunctionThrows) {
  EXPECT_THROW(TypeParam([&](auto continuation) {
                 this->recordTermination(continuation);
                 throw std::runtime_error("no sensor");
               }),
               std::runtime_error);
  EXPECT_EQ(this->events, Events{"cancelled"});
}

TYPED_TEST(BothStreams, KeepToTheirPolicy) {
  TypeParam stream(BufferingPolicy::newest(2), [](auto continuation) {
    for (int i = 1; i <= 4; ++i) continuation.yield(i);
    continuation.finish();
  });
  auto iterator = stream.makeAsyncIterator();
  EXPECT_EQ(answersOf(iterator), "3 4 end");
}

// Elements and consumers.

TYPED_TEST(BothStreams, GiveTheEndForEver) {
  auto [stream, continuation] = TypeParam::makeStream();
  continuation.finish();
  auto iterator = stream.makeAsyncIterator();
  for (int i = 0; i < 3; ++i) EXPECT_EQ(answerOf(iterator), "end");
}

TYPED_TEST(BothStreams, ResumeAWaiterThroughItsExecutorAndNeverInline) {
  auto [stream, continuation] = TypeParam::makeStream();
  const Request waiting(stream.makeAsyncIterator());
  EXPECT_EQ(waiting.answer(), "waiting");
  continuation.yield(1);
  EXPECT_EQ(waiting.answerSoFar(), "waiting");
  EXPECT_EQ(waiting.answer(), "1");
  const Request second(stream.makeAsyncIterator());
  EXPECT_EQ(second.answer(), "waiting");
  continuation.finish();
  EXPECT_EQ(second.answerSoFar(), "waiting");
  EXPECT_EQ(second.answer(), "end");
}

TYPED_TEST(BothStreams, ServeWaitersOldestFirstEachElementToOne) {
  auto [stream, continuation] = TypeParam::makeStream();
  auto iterator = stream.makeAsyncIterator();
  const Request first(iterator);
  EXPECT_EQ(first.answer(), "waiting");
  const Request second(iterator);  // A copy of an iterator, or one of its own, is all the same.
  EXPECT_EQ(second.answer(), "waiting");
  const Request third(stream.makeAsyncIterator());
  EXPECT_EQ(third.answer(), "waiting");
  continuation.yield(1);
  continuation.yield(2);
  EXPECT_EQ(third.answer(), "waiting");
  continuation.yield(3);
  continuation.yield(4);
  EXPECT_EQ(first.answer(), "1");
  EXPECT_EQ(second.answer(), "2");
  EXPECT_EQ(third.answer(), "3");
  EXPECT_EQ(answerOf(iterator), "4");
}

TYPED_TEST(BothStreams, DeliverWhatIsBufferedEvenAfterTheEnd) {
  auto [stream, continuation] = TypeParam::makeStream();
  continuation.yield(1);
  auto iterator = stream.makeAsyncIterator();
  EXPECT_EQ(answerOf(iterator), "1");
  continuation.yield(2);
  continuation.yield(3);
  continuation.finish();
  EXPECT_EQ(textOf(continuation.yield(4)), "terminated");
  EXPECT_EQ(answersOf(iterator), "2 3 end");
}

TYPED_TEST(BothStreams, WaitOnWhenAllContinuationsAreDropped) {
  std::optional<typename TypeParam::Continuation> continuation;
  TypeParam stream([&](auto made) { continuation = made; });
  this->recordTermination(*continuation);
  continuation->yield(1);
  const Request first(stream.makeAsyncIterator());
  const Request second(stream.makeAsyncIterator());
  settle();
  continuation.reset();
  EXPECT_EQ(first.answer() + " " + second.answer(), first.answer() == "1" ? "1 waiting" : "waiting 1");
  EXPECT_EQ(this->events, Events());
}

TYPED_TEST(BothStreams, AwaitInTheGivenIsolationAndComeBack) {
  const Isolation isolation = Isolation::serial();
  std::vector<Isolation> seen;
  const auto stream = TypeParam::unfolding([&]() -> Async<std::optional<int>> {
    seen.push_back(Isolation::current());
    co_return seen.size() == 1 ? std::optional<int>(1) : std::nullopt;
  });
  std::vector<std::optional<int>> answers;
  start([&]() -> Async<void> {
    auto iterator = stream.makeAsyncIterator();
    for (int i = 0; i < 2; ++i) {
      answers.push_back(co_await iterator.next(isolation));
      seen.push_back(Isolation::current());
    }
  });
  settle();
  EXPECT_EQ(answers, (std::vector<std::optional<int>>{1, std::nullopt}));
  EXPECT_EQ(seen, (std::vector{isolation, Isolation(), isolation, Isolation()}));
}

TYPED_TEST(BothStreams, WaitInTheGivenIsolationForWhatIsYieldedLater) {
  const Isolation isolation = Isolation::serial();
  auto [stream, continuation] = TypeParam::makeStream();
  std::string answer = "waiting";
  const auto task = start([&]() -> Async<void> {
    auto iterator = stream.makeAsyncIterator();
    const auto element = co_await iterator.next(isolation);
    answer = textOf(*element) + (Isolation::current() == Isolation() ? " and back" : " and lost");
  });
  settle();
  continuation.yield(5);
  settle();
  EXPECT_EQ(answer, "5 and back");
}

// The end, and who is told of it.

TYPED_TEST(BothStreams, CallTheHandlerOfAFinishOnItsThreadBeforeAnyWaiterIsResumed) {
  auto [stream, continuation] = TypeParam::makeStream();
  const Request first(stream.makeAsyncIterator());
  const Request second(stream.makeAsyncIterator());
  settle();
  std::thread::id thread;
  continuation.setOnTermination([&](const StreamTermination& termination) {
    thread = std::this_thread::get_id();
    this->events = {textOf(termination), first.answer(), second.answer()};
  });
  continuation.finish();
  EXPECT_EQ(thread, std::this_thread::get_id());
  EXPECT_EQ(this->events, (Events{"finished", "waiting", "waiting"}));
  EXPECT_EQ(first.answer(), "end");
  EXPECT_EQ(second.answer(), "end");
}

TYPED_TEST(BothStreams, CallTheHandlerOfAFinishEvenWhileElementsAreBuffered) {
  auto [stream, continuation] = TypeParam::makeStream();
  this->recordTermination(continuation);
  continuation.yield(1);
  continuation.finish();
  EXPECT_EQ(this->events, Events{"finished"});
  auto iterator = stream.makeAsyncIterator();
  EXPECT_EQ(answersOf(iterator), "1 end");
}

TYPED_TEST(BothStreams, MakeWhoeverComesWhileTheHandlerRunsWaitForIt) {
  auto [stream, continuation] = TypeParam::makeStream();
  std::optional<Request<typename TypeParam::AsyncIterator>> late;
  continuation.setOnTermination([&](const StreamTermination&) {
    late.emplace(stream.makeAsyncIterator());
    this->events.push_back(late->answer());
  });
  continuation.finish();
  EXPECT_EQ(this->events, Events{"waiting"});
  EXPECT_EQ(late->answer(), "end");
}

TYPED_TEST(BothStreams, DoNothingAtLaterFinishes) {
  auto [stream, continuation] = TypeParam::makeStream();
  this->recordTermination(continuation);
  for (int i = 0; i < 3; ++i) continuation.finish();
  EXPECT_EQ(this->events, Events{"finished"});
}

TYPED_TEST(BothStreams, LetTheHandlerOfAFinishYieldAndFinishInVain) {
  auto [stream, continuation] = TypeParam::makeStream();
  continuation.setOnTermination([&](const StreamTermination&) {
    this->events.push_back(textOf(continuation.yield(1)));
    continuation.finish();
  });
  continuation.finish();
  EXPECT_EQ(this->events, Events{"terminated"});
  auto iterator = stream.makeAsyncIterator();
  EXPECT_EQ(answersOf(iterator), "end");
}

TYPED_TEST(BothStreams, LetTheHandlerDestroyTheContinuationThatFinishes) {
  std::optional<typename TypeParam::Continuation> continuation;
  std::optional<TypeParam> stream;
  stream.emplace([&](auto made) { continuation = made; });
  continuation->setOnTermination([&](const StreamTermination& termination) {
    this->events.push_back(textOf(termination));
    stream.reset();
    continuation.reset();
  });
  continuation->finish();
  EXPECT_EQ(this->events, Events{"finished"});
}

TYPED_TEST(BothStreams, CallTheHandlerThatWasSetLast) {
  auto [stream, continuation] = TypeParam::makeStream();
  EXPECT_EQ(continuation.onTermination(), nullptr);
  continuation.setOnTermination([&](const StreamTermination&) { this->events.push_back("first"); });
  this->recordTermination(continuation);
  EXPECT_NE(continuation.onTermination(), nullptr);
  continuation.finish();
  EXPECT_EQ(this->events, Events{"finished"});
  EXPECT_EQ(continuation.onTermination(), nullptr);
}

TYPED_TEST(BothStreams, CallNoHandlerThatWasTakenAway) {
  auto [stream, continuation] = TypeParam::makeStream();
  this->recordTermination(continuation);
  const auto handler = continuation.onTermination();
  continuation.setOnTermination(nullptr);
  EXPECT_EQ(continuation.onTermination(), nullptr);
  continuation.finish();
  EXPECT_EQ(this->events, Events());
  handler({StreamTermination::Kind::finished});
  EXPECT_EQ(this->events, Events{"finished"});
}

TYPED_TEST(BothStreams, NeverCallAHandlerThatWasSetAfterTheEnd) {
  {
    auto [stream, continuation] = TypeParam::makeStream();
    continuation.setOnTermination([&](const StreamTermination&) { this->recordTermination(continuation); });
    continuation.finish();
    this->recordTermination(continuation);
    EXPECT_EQ(continuation.onTermination(), nullptr);
    continuation.finish();
  }
  EXPECT_EQ(this->events, Events());
}

TYPED_TEST(BothStreams, StopTheProcessWhenTheHandlerThrows) {
  auto [stream, continuation] = TypeParam::makeStream();
  continuation.setOnTermination([](const StreamTermination&) { throw std::runtime_error("unexpected"); });
  EXPECT_EXIT(continuation.finish(), testing::KilledBySignal(SIGABRT),
              "^Tessaly/Notification:[0-9]+: Fatal error: A stream's termination handler has thrown\n$");
  EXPECT_EXIT(
      {
        Request consumer(stream.makeAsyncIterator());
        settle();
        consumer.cancel();
      },
      testing::KilledBySignal(SIGABRT),
      "^Tessaly/Notification:[0-9]+: Fatal error: A stream's termination handler has thrown\n$");
  continuation.setOnTermination(nullptr);
}

// Cancellation.

TYPED_TEST(BothStreams, GiveTheEndToWhoIsCancelledWhileItWaitsAfterTheHandlerWasCalledOnTheCancellingThread) {
  auto [stream, continuation] = TypeParam::makeStream();
  Request waiting(stream.makeAsyncIterator());
  settle();
  std::thread::id handling;
  continuation.setOnTermination([&](const StreamTermination& termination) {
    handling = std::this_thread::get_id();
    this->events = {textOf(termination), waiting.answer(), textOf(continuation.yield(1))};
  });
  std::thread::id cancelling;
  std::thread([&] {
    cancelling = std::this_thread::get_id();
    waiting.cancel();
  }).join();
  EXPECT_EQ(handling, cancelling);
  EXPECT_EQ(this->events, (Events{"cancelled", "waiting", "terminated"}));
  EXPECT_EQ(waiting.answer(), "end");
  EXPECT_EQ(textOf(continuation.yield(2)), "terminated");
  continuation.finish();
  auto iterator = stream.makeAsyncIterator();
  EXPECT_EQ(answersOf(iterator), "end");
  EXPECT_EQ(this->events.size(), 3u);
}

TYPED_TEST(BothStreams, NoticeAtTheNextNextThatTheTaskWasCancelledAndStillDeliverWhatIsBuffered) {
  auto [stream, continuation] = TypeParam::makeStream();
  this->recordTermination(continuation);
  std::optional<CheckedContinuation<>> gate;
  const auto task = start([&]() -> Async<void> {
    auto iterator = stream.makeAsyncIterator();
    co_await withCheckedContinuation([&](auto handle) { gate = handle; });
    for (int i = 0; i < 4; ++i) this->events.push_back(co_await nextText(&iterator));
  });
  continuation.yield(1);
  settle();
  task.cancel();
  EXPECT_EQ(this->events, Events());
  EXPECT_EQ(continuation.yield(2).kind, YieldResultKind::enqueued);
  gate->resume();
  settle();
  EXPECT_EQ(this->events, (Events{"cancelled", "1", "2", "end", "end"}));
  EXPECT_EQ(textOf(continuation.yield(3)), "terminated");
}

TYPED_TEST(BothStreams, EndForAllIteratorsWhenOneConsumerIsCancelled) {
  auto [stream, continuation] = TypeParam::makeStream();
  this->recordTermination(continuation);
  const Request first(stream.makeAsyncIterator());
  Request second(stream.makeAsyncIterator());
  const Request third(stream.makeAsyncIterator());
  settle();
  second.cancel();
  EXPECT_EQ(first.answer(), "end");
  EXPECT_EQ(second.answer(), "end");
  EXPECT_EQ(third.answer(), "end");
  EXPECT_EQ(Request(stream.makeAsyncIterator()).answer(), "end");
  EXPECT_EQ(this->events, Events{"cancelled"});
}

TYPED_TEST(BothStreams, GiveTheElementToWhoIsCancelledBetweenTheYieldAndItsResumption) {
  auto [stream, continuation] = TypeParam::makeStream();
  this->recordTermination(continuation);
  Request consumer(stream.makeAsyncIterator());
  settle();
  continuation.yield(1);
  consumer.cancel();
  EXPECT_EQ(this->events, Events{"cancelled"});
  EXPECT_EQ(consumer.answer(), "1");
}

TYPED_TEST(BothStreams, GoOnWhenATaskIsCancelledThatIsNoLongerInNext) {
  auto [stream, continuation] = TypeParam::makeStream();
  this->recordTermination(continuation);
  Request waited(stream.makeAsyncIterator());
  settle();
  continuation.yield(1);
  EXPECT_EQ(waited.answer(), "1");
  waited.cancel();
  EXPECT_EQ(textOf(continuation.yield(2)), "enqueued 9223372036854775807");
  EXPECT_EQ(Request(stream.makeAsyncIterator()).answer(), "2");
  EXPECT_EQ(this->events, Events());
}

TYPED_TEST(BothStreams, TellTheHandlerOnceWhateverEndsThem) {
  {
    auto [stream, continuation] = TypeParam::makeStream();
    this->recordTermination(continuation);
    Request first(stream.makeAsyncIterator());
    Request second(stream.makeAsyncIterator());
    settle();
    continuation.finish();
    first.cancel();
    second.cancel();
  }
  EXPECT_EQ(this->events, Events{"finished"});
}

// Dropping the consuming end.

TYPED_TEST(BothStreams, EndAsCancelledWhenTheStreamAndAllIteratorsAreDropped) {
  const auto witness = std::make_shared<int>(1);
  std::optional<typename TypeParam::Continuation> continuation;
  std::optional<TypeParam> stream;
  stream.emplace([&](auto made) { continuation = made; });
  continuation->setOnTermination([&, witness](const StreamTermination& termination) {
    this->events.push_back(textOf(termination));
    this->events.push_back(textOf(continuation->yield(1)));
    continuation->finish();
  });
  continuation->yield(0);
  stream.reset();
  EXPECT_EQ(this->events, (Events{"cancelled", "terminated"}));
  EXPECT_EQ(witness.use_count(), 1);
  EXPECT_EQ(textOf(continuation->yield(2)), "terminated");
  continuation->finish();
  continuation.reset();
  EXPECT_EQ(this->events.size(), 2u);
}

TYPED_TEST(BothStreams, StayOpenAsLongAsOneCopyOrIteratorIsLeft) {
  std::optional<typename TypeParam::Continuation> continuation;
  std::optional<TypeParam> stream;
  stream.emplace([&](auto made) { continuation = made; });
  this->recordTermination(*continuation);
  std::optional<TypeParam> copy = stream;
  stream.reset();
  EXPECT_EQ(this->events, Events());
  std::optional<typename TypeParam::AsyncIterator> iterator = copy->makeAsyncIterator();
  copy.reset();
  EXPECT_EQ(this->events, Events());
  std::optional<typename TypeParam::AsyncIterator> second = iterator;
  iterator.reset();
  continuation->yield(1);
  EXPECT_EQ(answerOf(*second), "1");
  EXPECT_EQ(this->events, Events());
  second.reset();
  EXPECT_EQ(this->events, Events{"cancelled"});
}

TYPED_TEST(BothStreams, StayOpenForAConsumerThatWaits) {
  std::optional<typename TypeParam::Continuation> continuation;
  std::optional<TypeParam> stream;
  stream.emplace([&](auto made) { continuation = made; });
  this->recordTermination(*continuation);
  std::optional<Request<typename TypeParam::AsyncIterator>> waiting(std::in_place, stream->makeAsyncIterator());
  settle();
  stream.reset();
  continuation->yield(1);
  EXPECT_EQ(waiting->answer(), "1");
  EXPECT_EQ(this->events, Events());
  waiting.reset();
  EXPECT_EQ(this->events, Events{"cancelled"});
}

TYPED_TEST(BothStreams, FreeEverythingAHandlerHoldsItsOwnContinuationThough) {
  const auto witness = std::make_shared<int>(1);
  for (const bool finishes : {true, false}) {
    auto [stream, continuation] = TypeParam::makeStream();
    continuation.setOnTermination([witness, continuation = continuation](const StreamTermination&) {});
    EXPECT_EQ(witness.use_count(), 2);
    if (finishes) continuation.finish();
  }
  EXPECT_EQ(witness.use_count(), 1);
}

// Unfolding.

TYPED_TEST(BothStreams, UnfoldWithOneCallForEachNextUntilThereIsNone) {
  const auto witness = std::make_shared<int>(1);
  int calls = 0;
  int cancellations = 0;
  const auto stream = TypeParam::unfolding(
      [&, witness]() -> Async<std::optional<int>> {
        ++calls;
        co_return calls <= 2 ? std::optional<int>(calls) : std::nullopt;
      },
      [&] { ++cancellations; });
  EXPECT_EQ(calls, 0);
  auto iterator = stream.makeAsyncIterator();
  auto second = stream.makeAsyncIterator();
  EXPECT_EQ(answerOf(iterator), "1");
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(answerOf(second), "2");
  EXPECT_EQ(answersOf(iterator), "end");
  EXPECT_EQ(witness.use_count(), 1);
  EXPECT_EQ(answersOf(second), "end");
  EXPECT_EQ(calls, 3);
  EXPECT_EQ(cancellations, 0);
}

TYPED_TEST(BothStreams, CallOnCancelOnceOnTheCancellingThreadAndEndAfterTheElementThatIsUnfolding) {
  std::optional<CheckedContinuation<std::optional<int>>> production;
  std::vector<std::thread::id> cancellations;
  const auto stream = TypeParam::unfolding(
      [&] { return withCheckedContinuation<std::optional<int>>([&](auto handle) { production = handle; }); },
      [&] { cancellations.push_back(std::this_thread::get_id()); });
  Request consumer(stream.makeAsyncIterator());
  settle();
  std::thread::id cancelling;
  std::thread([&] {
    cancelling = std::this_thread::get_id();
    consumer.cancel();
  }).join();
  EXPECT_EQ(cancellations, std::vector{cancelling});
  EXPECT_EQ(consumer.answer(), "waiting");
  production->resume(7);
  EXPECT_EQ(consumer.answer(), "7");
  auto iterator = stream.makeAsyncIterator();
  EXPECT_EQ(answersOf(iterator), "end");
  EXPECT_EQ(cancellations.size(), 1u);
}

TYPED_TEST(BothStreams, UnfoldNothingInATaskThatIsCancelledAlready) {
  int calls = 0;
  int cancellations = 0;
  const auto stream = TypeParam::unfolding(
      [&]() -> Async<std::optional<int>> {
        ++calls;
        co_return 1;
      },
      [&] { ++cancellations; });
  Request first(stream.makeAsyncIterator());
  first.cancel();
  EXPECT_EQ(first.answer(), "end");
  Request second(stream.makeAsyncIterator());
  second.cancel();
  EXPECT_EQ(second.answer(), "end");
  EXPECT_EQ(calls, 0);
  EXPECT_EQ(cancellations, 1);
}

TYPED_TEST(BothStreams, LetGoOfWhatUnfoldsWhenTheyAreDropped) {
  const auto witness = std::make_shared<int>(1);
  int cancellations = 0;
  {
    const auto stream =
        TypeParam::unfolding([witness]() -> Async<std::optional<int>> { co_return 1; }, [&] { ++cancellations; });
    auto iterator = stream.makeAsyncIterator();
    EXPECT_EQ(answerOf(iterator), "1");
    EXPECT_EQ(witness.use_count(), 2);
  }
  EXPECT_EQ(witness.use_count(), 1);
  EXPECT_EQ(cancellations, 0);
}

TYPED_TEST(BothStreams, UnfoldWithoutAnOnCancel) {
  const auto stream = TypeParam::unfolding([]() -> Async<std::optional<int>> { co_return 1; });
  Request consumer(stream.makeAsyncIterator());
  consumer.cancel();
  EXPECT_EQ(consumer.answer(), "end");
}

}  // namespace
}  // namespace Tessaly
