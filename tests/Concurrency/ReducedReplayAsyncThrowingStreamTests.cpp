// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "Tessaly/Concurrency/ReducedReplayAsyncThrowingStream.hpp"
#include "Tessaly/Core/Tasks/AsyncMapSequence.hpp"
#include "tests/Concurrency/FragileElement.hpp"
#include "tests/Core/Tasks/Scenarios.hpp"
#include "tests/Core/Tasks/Streams.hpp"

namespace Tessaly {
namespace {

using Tests::answerOf;
using Tests::answersOf;
using Tests::FragileElement;
using Tests::holdsInEveryOrderOfSteps;
using Tests::holdsOnManyThreads;
using Tests::pause;
using Tests::Request;
using Tests::settle;
using Tests::Tasks;

using Stream = ReducedReplayAsyncThrowingStream<int>;
using Continuation = Stream::Continuation;

void add(int& sum, int element) { sum += element; }

struct Sum {
  Sum() : stream(BufferingPolicy::unbounded(), 0, add, [&](Continuation built) { continuation.emplace(built); }) {
    SeededScheduler::install();
  }

  std::optional<Continuation> continuation;
  Stream stream;
};

// A task that requests the final value.
template <typename Stream = ReducedReplayAsyncThrowingStream<int>>
class Question {
 public:
  explicit Question(const Stream& stream)
      : task_(Tests::start([answer = answer_, stream]() -> Async<void> {
          try {
            *answer = Tests::textOf(co_await stream.streamedElement());
          } catch (const std::exception& error) {
            *answer = std::string("error: ") + error.what();
          }
        })) {}
  std::string answer() const {
    settle();
    return *answer_;
  }
  void cancel() { task_.cancel(); }

 private:
  std::shared_ptr<std::string> answer_ = std::make_shared<std::string>("waiting");
  Task<> task_;
};

TEST(ReducedReplayAsyncThrowingStream, SubscribersReceiveAsWithoutFailures) {
  Sum sum;
  auto first = sum.stream.makeAsyncIterator();
  settle();
  auto second = sum.stream.makeAsyncIterator();
  settle();
  for (const int element : {1, 2, 3}) sum.continuation->yield(element);
  settle();
  auto late = sum.stream.makeAsyncIterator();
  settle();
  sum.continuation->yield(4);
  sum.continuation->finish();
  EXPECT_EQ(answersOf(first), "1 2 3 4 end");
  EXPECT_EQ(answersOf(second), "0 1 2 3 4 end");
  EXPECT_EQ(answersOf(late), "6 4 end");
}

TEST(ReducedReplayAsyncThrowingStream, ErrorReachesEverySubscriber) {
  Sum sum;
  auto first = sum.stream.makeAsyncIterator();
  settle();
  auto stream = sum.stream.newStream();
  auto second = stream.makeAsyncIterator();
  settle();
  sum.continuation->yield(1);
  sum.continuation->finish(std::runtime_error("broken"));
  EXPECT_EQ(answersOf(first), "1 error: broken");
  EXPECT_EQ(answerOf(first), "end");
  EXPECT_EQ(answersOf(second), "0 1 error: broken");
}

TEST(ReducedReplayAsyncThrowingStream, SubscriberAfterTheEndReceivesTheSum) {
  for (const bool fails : {false, true}) {
    Sum sum;
    auto first = sum.stream.makeAsyncIterator();
    sum.continuation->yield(4);
    fails ? sum.continuation->finish(std::runtime_error("broken")) : sum.continuation->finish();
    settle();
    auto late = sum.stream.makeAsyncIterator();
    EXPECT_EQ(answersOf(late), "4 waiting");
  }
}

TEST(ReducedReplayAsyncThrowingStream, RequestForTheFinalValueStartsTheConsumption) {
  Sum sum;
  for (const int element : {1, 2, 3}) sum.continuation->yield(element);
  const Question question(sum.stream);
  EXPECT_EQ(question.answer(), "waiting");
  auto late = sum.stream.makeAsyncIterator();
  EXPECT_EQ(answerOf(late), "6");
  sum.continuation->yield(4);
  sum.continuation->finish();
  EXPECT_EQ(question.answer(), "10");
  EXPECT_EQ(answersOf(late), "4 end");
  EXPECT_EQ(Question(sum.stream).answer(), "10");
  EXPECT_EQ(Question(sum.stream).answer(), "10");
}

TEST(ReducedReplayAsyncThrowingStream, NothingIsConsumedBeforeARequest) {
  SeededScheduler::install();
  std::optional<Continuation> continuation;
  const Stream stream(BufferingPolicy::oldest(2), 0, add, [&](Continuation built) { continuation.emplace(built); });
  for (const int element : {1, 2}) continuation->yield(element);
  settle();
  EXPECT_EQ(continuation->yield(4).element, 4);  // The producer's buffer is full.
  const Question question(stream);
  settle();
  EXPECT_EQ(continuation->yield(8).kind, YieldResultKind::enqueued);
  continuation->finish();
  EXPECT_EQ(question.answer(), "11");
}

TEST(ReducedReplayAsyncThrowingStream, RequestLeavesTheFirstSubscriberItsElements) {
  Sum sum;
  auto first = sum.stream.makeAsyncIterator();
  settle();
  const Question question(sum.stream);
  const Question another(sum.stream);
  settle();
  sum.continuation->yield(5);
  sum.continuation->finish();
  EXPECT_EQ(question.answer(), "5");
  EXPECT_EQ(another.answer(), "5");
  EXPECT_EQ(answersOf(first), "5 end");
}

TEST(ReducedReplayAsyncThrowingStream, EveryRequestFailsWithTheProducersError) {
  Sum sum;
  const Question before(sum.stream);
  settle();
  sum.continuation->yield(1);
  sum.continuation->finish(std::runtime_error("broken"));
  EXPECT_EQ(before.answer(), "error: broken");
  EXPECT_EQ(Question(sum.stream).answer(), "error: broken");
  EXPECT_EQ(Question(sum.stream).answer(), "error: broken");
}

// A stream of elements whose copies and moves may throw.
struct FragileSum {
  using Stream = ReducedReplayAsyncThrowingStream<FragileElement>;

  FragileSum()
      : stream(BufferingPolicy::unbounded(), FragileElement(0), FragileElement::add,
               [&](auto built) { continuation.emplace(std::move(built)); }) {
    SeededScheduler::install();
  }

  Stream::AsyncIterator subscribe() const {
    auto iterator = stream.makeAsyncIterator();
    settle();
    return iterator;
  }

  std::optional<Stream::Continuation> continuation;
  Stream stream;
};

TEST(ReducedReplayAsyncThrowingStream, CopyThatThrowsEndsItsOwnSubscriberOnly) {
  FragileSum sum;
  auto first = sum.subscribe();
  auto second = sum.subscribe();
  auto third = sum.subscribe();
  FragileElement::copiesLeft = 2;
  sum.continuation->yield(FragileElement(1));
  settle();
  FragileElement::copiesLeft = 1;
  auto late = sum.subscribe();
  sum.continuation->yield(FragileElement(2));
  sum.continuation->finish();
  EXPECT_EQ(answersOf(first), "1 2 end");
  EXPECT_EQ(answersOf(second), "0 error: no copy");
  EXPECT_EQ(answersOf(third), "0 1 2 end");
  EXPECT_EQ(answersOf(late), "error: no copy");
}

TEST(ReducedReplayAsyncThrowingStream, MoveThatThrowsCountsAsTheProducersError) {
  FragileSum sum;
  auto first = sum.subscribe();
  sum.continuation->yield(FragileElement(1));
  FragileElement::movesLeft = 1;
  settle();
  EXPECT_EQ(answersOf(first), "error: no move");
}

TEST(ReducedReplayAsyncThrowingStream, ThrowingCopyFailsOnlyItsOwnRequest) {
  FragileSum sum;
  const Question<FragileSum::Stream> first(sum.stream);
  const Question<FragileSum::Stream> second(sum.stream);
  EXPECT_EQ(first.answer(), "waiting");
  sum.continuation->yield(FragileElement(7));
  settle();
  FragileElement::copiesLeft = 1;
  sum.continuation->finish();
  const std::multiset<std::string> answers{first.answer(), second.answer()};
  EXPECT_EQ(answers, (std::multiset<std::string>{"7", "error: no copy"}));
  FragileElement::copiesLeft = 1;
  EXPECT_EQ(Question<FragileSum::Stream>(sum.stream).answer(), "error: no copy");
  EXPECT_EQ(Question<FragileSum::Stream>(sum.stream).answer(), "7");
}

TEST(ReducedReplayAsyncThrowingStream, EmptyProducerGivesTheInitialResult) {
  Sum sum;
  sum.continuation->finish();
  EXPECT_EQ(Question(sum.stream).answer(), "0");
}

TEST(ReducedReplayAsyncThrowingStream, ConsumesAnySequenceOnce) {
  std::atomic<int> reads{0};
  const auto numbers = map(Tests::streamOf({1, 2, 3}), [&reads](int number) {
    ++reads;
    return number * 10;
  });
  SeededScheduler::install();
  const Stream stream(numbers, 5, add);
  settle();
  EXPECT_EQ(reads, 0);
  auto first = stream.makeAsyncIterator();
  settle();
  auto second = stream.makeAsyncIterator();
  EXPECT_EQ(answersOf(first), "10 20 30 end");
  EXPECT_EQ(answersOf(second), "65 waiting");
  EXPECT_EQ(reads, 3);
  EXPECT_EQ(Question(stream).answer(), "65");
}

TEST(ReducedReplayAsyncThrowingStream, AProducerMayFailAtEachStep) {
  for (int failing = 0; failing < 4; ++failing) {
    const auto numbers = throwingMap(Tests::streamOf({0, 1, 2, 3}), [failing](int number) {
      return number == failing ? throw std::runtime_error("at " + std::to_string(number)) : number;
    });
    SeededScheduler::install();
    const Stream stream(numbers, 0, add);
    auto first = stream.makeAsyncIterator();
    const Question question(stream);
    std::string expected;
    for (int i = 0; i < failing; ++i) expected += std::to_string(i) + " ";
    const std::string error = "error: at " + std::to_string(failing);
    EXPECT_EQ(answersOf(first), expected + error);
    EXPECT_EQ(question.answer(), error);
  }
}

// One task is cancelled at any step. The others receive the same elements as before, and the final value is known.
TEST(ReducedReplayAsyncThrowingStream, SubscriberAndRequestMayBeCancelledAnytime) {
  SeededScheduler& scheduler = SeededScheduler::install();
  for (std::uint64_t seed = 0; seed < 20; ++seed) {
    for (int steps = 0; steps < 40; ++steps) {
      for (const bool fails : {false, true}) {
        scheduler.reseed(seed);
        Sum sum;
        const auto other = sum.stream.newStream();
        auto consumer = Tests::start([stream = sum.stream]() -> Async<void> {
          auto iterator = stream.makeAsyncIterator();
          try {
            while (co_await iterator.next()) {
            }
          } catch (const std::runtime_error&) {
          }
        });
        Question question(sum.stream);
        for (const int element : {1, 2, 3}) sum.continuation->yield(element);
        for (int step = 0; step < steps && scheduler.runOne(); ++step) {
        }
        consumer.cancel();
        question.cancel();
        settle();
        EXPECT_TRUE(consumer.isFinished());
        EXPECT_EQ(question.answer(), "waiting");
        sum.continuation->yield(4);
        fails ? sum.continuation->finish(std::runtime_error("broken")) : sum.continuation->finish();
        auto iterator = other.makeAsyncIterator();
        const std::string answers = answersOf(iterator);
        ASSERT_TRUE(answers.ends_with(fails ? "4 error: broken" : "4 end")) << answers;
        ASSERT_EQ(question.answer(), fails ? "error: broken" : "10");
      }
    }
  }
}

TEST(ReducedReplayAsyncThrowingStream, APendingRequestSurvivesTheStreamValue) {
  std::optional<Continuation> continuation;
  std::optional<Question<>> question;
  {
    const Stream stream(BufferingPolicy::unbounded(), 0, add, [&](Continuation built) { continuation.emplace(built); });
    question.emplace(stream);
    settle();
  }
  settle();
  continuation->yield(2);
  continuation->finish();
  EXPECT_EQ(question->answer(), "2");
}

TEST(ReducedReplayAsyncThrowingStream, ItsIteratorsTakeAnIsolation) {
  static_assert(AsyncSequence<Stream> && AsyncSequence<Stream::Stream>);
  static_assert(std::same_as<Stream::Failure, std::exception_ptr>);
  Sum sum;
  auto iterator = sum.stream.makeAsyncIterator();
  sum.continuation->yield(1);
  const Isolation isolation = Isolation::serial();
  int received = 0;
  auto task = Tests::start([&]() -> Async<void> { received = (co_await iterator.next(isolation)).value(); });
  settle();
  EXPECT_EQ(received, 1);
}

// Requests and subscribers start at any time, and the producer may fail. Every request is answered once, with the same
// result.
void askAndFail(Tasks& tasks) {
  struct Shared {
    Shared() : stream(BufferingPolicy::unbounded(), 0, add, [this](Continuation built) { continuation = built; }) {}
    std::optional<Continuation> continuation;
    Stream stream;
  };
  const auto shared = std::make_shared<Shared>();
  const bool fails = tasks.random(2) == 0;
  tasks.add([shared, fails, delay = tasks.random(6)]() -> Async<void> {
    co_await pause(delay);
    for (int i = 1; i <= 4; ++i) {
      shared->continuation->yield(i);
      co_await pause(1);
    }
    fails ? shared->continuation->finish(std::runtime_error("broken")) : shared->continuation->finish();
  });
  for (int i = 0; i < 3; ++i) {
    tasks.add([shared, fails, delay = tasks.random(14)]() -> Async<void> {
      co_await pause(delay);
      try {
        const int whole = co_await shared->stream.streamedElement();
        EXPECT_FALSE(fails);
        EXPECT_EQ(whole, 10);
      } catch (const std::runtime_error& error) {
        EXPECT_TRUE(fails);
        EXPECT_STREQ(error.what(), "broken");
      }
    });
  }
  tasks.add([shared, delay = tasks.random(10)]() -> Async<void> {
    co_await pause(delay);
    auto iterator = shared->stream.makeAsyncIterator();
    int known = 0;
    try {
      while (known < 10) {
        const auto element = co_await iterator.next();
        if (!element) break;
        known += *element;
      }
      EXPECT_EQ(known, 10);
    } catch (const std::runtime_error&) {
      EXPECT_EQ(known, 10);
    }
  });
  tasks.wait();
}

TEST(ReducedReplayAsyncThrowingStream, EveryRequestIsAnsweredInEveryOrderOfSteps) {
  holdsInEveryOrderOfSteps(askAndFail);
}

TEST(ReducedReplayAsyncThrowingStream, EveryRequestIsAnsweredOnManyThreads) { holdsOnManyThreads(askAndFail); }

}  // namespace
}  // namespace Tessaly
