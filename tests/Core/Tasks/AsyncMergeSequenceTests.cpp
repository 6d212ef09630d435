// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <concepts>
#include <csignal>
#include <cstddef>
#include <exception>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Tessaly/Core/Tasks/AsyncMapSequence.hpp"
#include "Tessaly/Core/Tasks/AsyncMergeSequence.hpp"
#include "Tessaly/Core/Tasks/TaskLocal.hpp"
#include "tests/Core/Tasks/Scenarios.hpp"
#include "tests/Core/Tasks/Streams.hpp"

namespace Tessaly {
namespace {

using Tests::answerOf;
using Tests::answersOf;
using Tests::failingStreamOf;
using Tests::holdsInEveryOrderOfSteps;
using Tests::holdsOnManyThreads;
using Tests::nextText;
using Tests::pause;
using Tests::Request;
using Tests::settle;
using Tests::start;
using Tests::streamOf;
using Tests::Tasks;
using Tests::textOf;

using Stream = AsyncThrowingStream<int>;
using Events = std::vector<std::string>;

/// Two streams whose ends are recorded, and their merge.
struct Merged {
  Merged() {
    first.continuation.setOnTermination(
        [this](const StreamTermination& termination) { events.push_back("first " + textOf(termination)); });
    second.continuation.setOnTermination(
        [this](const StreamTermination& termination) { events.push_back("second " + textOf(termination)); });
  }
  Merged(const Merged&) = delete;
  Merged& operator=(const Merged&) = delete;

  Events events;
  Stream::StreamAndContinuation first = Stream::makeStream();
  Stream::StreamAndContinuation second = Stream::makeStream();
  AsyncMergeSequence<Stream, Stream> sequence = merge(first.stream, second.stream);
};

/// An iterator that can be asked again and again by tasks of their own.
template <typename Sequence>
class Shared {
 public:
  explicit Shared(const Sequence& sequence)
      : iterator_(std::make_shared<AsyncIterator<Sequence>>(sequence.makeAsyncIterator())) {}
  auto next() { return iterator_->next(); }

 private:
  std::shared_ptr<AsyncIterator<Sequence>> iterator_;
};

/// An endless stream of 0, 1, 2..., and how many of them were made.
AsyncStream<int> counting(int& made) {
  return AsyncStream<int>::unfolding([&made]() -> Async<std::optional<int>> { co_return made++; });
}

TEST(AsyncMergeSequence, IsASequenceThatFailsAsItsBasesDo) {
  using Numbers = AsyncStream<int>;
  static_assert(AsyncSequence<AsyncMergeSequence<Numbers, Numbers>>);
  static_assert(std::same_as<AsyncMergeSequence<Numbers, Numbers>::Failure, Never>);
  static_assert(std::same_as<AsyncMergeSequence<Numbers, Stream>::Failure, std::exception_ptr>);
  static_assert(std::same_as<AsyncMergeSequence<Stream, Numbers>::Failure, std::exception_ptr>);
  static_assert(std::same_as<detail::EitherFailure<CancellationError, Never>, CancellationError>);
  static_assert(std::same_as<detail::EitherFailure<CancellationError, CancellationError>, CancellationError>);
  static_assert(std::same_as<detail::EitherFailure<CancellationError, std::runtime_error>, std::exception_ptr>);
}

TEST(AsyncMergeSequence, GivesAllElementsOfBothAndThenTheEndForEver) {
  auto iterator = merge(streamOf({1, 2, 3}), streamOf({1, 2, 3})).makeAsyncIterator();
  std::string answers = answersOf(iterator);
  EXPECT_EQ(answers.size(), std::string("1 1 2 2 3 3 end").size());
  EXPECT_EQ(std::count(answers.begin(), answers.end(), '1'), 2);
  EXPECT_EQ(std::count(answers.begin(), answers.end(), '2'), 2);
  EXPECT_EQ(std::count(answers.begin(), answers.end(), '3'), 2);
  EXPECT_EQ(answersOf(iterator), "end");
}

TEST(AsyncMergeSequence, GivesElementsInTheOrderInWhichTheyArrive) {
  Merged merged;
  Shared iterator(merged.sequence);
  const Request one(iterator);
  EXPECT_EQ(one.answer(), "waiting");
  merged.second.continuation.yield(10);
  EXPECT_EQ(one.answer(), "10");
  merged.first.continuation.yield(1);
  settle();
  const Request two(iterator);
  EXPECT_EQ(two.answer(), "1");
  const Request three(iterator);
  settle();
  merged.first.continuation.yield(2);
  settle();
  merged.second.continuation.yield(11);
  EXPECT_EQ(three.answer(), "2");
  EXPECT_EQ(answerOf(iterator), "11");
}

TEST(AsyncMergeSequence, StartsNothingBeforeTheFirstNext) {
  int first = 0;
  int second = 0;
  const auto sequence = merge(counting(first), counting(second));
  auto iterator = sequence.makeAsyncIterator();
  auto asked = iterator.next();
  settle();
  EXPECT_EQ(first, 0);
  EXPECT_EQ(second, 0);
  start([&]() -> Async<void> { co_await std::move(asked); });
  settle();
  EXPECT_EQ(first, 1);
  EXPECT_EQ(second, 1);
}

TEST(AsyncMergeSequence, HasAtMostOneElementOfEachBaseThatWasNotTaken) {
  SeededScheduler::install().reseed(3);
  int first = 0;
  int second = 0;
  auto iterator = merge(map(counting(first), [](int number) { return number; }),
                        map(counting(second), [](int number) { return 1'000 + number; }))
                      .makeAsyncIterator();
  int takenFirst = 0;
  int takenSecond = 0;
  for (int i = 0; i < 200; ++i) {
    const int element = std::stoi(answerOf(iterator));
    if (element < 1'000) {
      EXPECT_EQ(element, takenFirst++);
    } else {
      EXPECT_EQ(element, 1'000 + takenSecond++);
    }
    ASSERT_LE(first - takenFirst, 1);
    ASSERT_LE(second - takenSecond, 1);
  }
  EXPECT_GE(takenFirst, 50);
  EXPECT_GE(takenSecond, 50);
}

TEST(AsyncMergeSequence, EndsWhenBothHaveEnded) {
  Merged merged;
  auto iterator = merged.sequence.makeAsyncIterator();
  Shared shared(merged.sequence);
  const Request one(shared);
  EXPECT_EQ(one.answer(), "waiting");
  merged.first.continuation.finish();
  EXPECT_EQ(one.answer(), "waiting");
  merged.second.continuation.yield(10);
  EXPECT_EQ(one.answer(), "10");
  const Request two(shared);
  EXPECT_EQ(two.answer(), "waiting");
  merged.second.continuation.finish();
  EXPECT_EQ(two.answer(), "end");
  EXPECT_EQ(answerOf(shared), "end");
  EXPECT_EQ(merged.events, (Events{"first finished", "second finished"}));
}

TEST(AsyncMergeSequence, GivesTheFirstErrorThenTheEndAndCancelsTheOtherBase) {
  for (const bool isFirst : {true, false}) {
    Merged merged;
    Shared iterator(merged.sequence);
    const Request consumer(iterator);
    EXPECT_EQ(consumer.answer(), "waiting");
    (isFirst ? merged.first : merged.second).continuation.finish(std::runtime_error("torn"));
    EXPECT_EQ(consumer.answer(), "error: torn");
    EXPECT_EQ(merged.events, isFirst ? (Events{"first finished: torn", "second cancelled"})
                                     : (Events{"second finished: torn", "first cancelled"}));
    EXPECT_EQ(answerOf(iterator), "end");
    EXPECT_EQ(answerOf(iterator), "end");
  }
}

TEST(AsyncMergeSequence, GivesWhatHadArrivedBeforeTheError) {
  Merged merged;
  Shared iterator(merged.sequence);
  const Request one(iterator);
  settle();
  merged.first.continuation.yield(1);
  settle();
  merged.second.continuation.yield(10);
  EXPECT_EQ(one.answer(), "1");
  EXPECT_EQ(answerOf(iterator), "10");  // Both are fetching again.
  merged.first.continuation.yield(2);
  settle();
  merged.second.continuation.finish(std::runtime_error("torn"));
  settle();
  EXPECT_EQ(answersOf(iterator), "2 error: torn");
  EXPECT_EQ(answersOf(iterator), "end");
}

TEST(AsyncMergeSequence, GivesOnlyTheFirstOfTwoErrors) {
  auto iterator = merge(failingStreamOf({}, "torn"), failingStreamOf({}, "torn")).makeAsyncIterator();
  EXPECT_EQ(answersOf(iterator), "error: torn");
  EXPECT_EQ(answersOf(iterator), "end");
}

TEST(AsyncMergeSequence, CancelledWaitCancelsBothBasesAndGivesTheEnd) {
  Merged merged;
  Shared iterator(merged.sequence);
  Request consumer(iterator);
  EXPECT_EQ(consumer.answer(), "waiting");
  consumer.cancel();
  EXPECT_EQ(merged.events, (Events{"first cancelled", "second cancelled"}));
  EXPECT_EQ(consumer.answer(), "end");
  EXPECT_EQ(answerOf(iterator), "end");
}

TEST(AsyncMergeSequence, EndsAtTheNextNextOfATaskThatWasCancelledMeanwhile) {
  Merged merged;
  Shared iterator(merged.sequence);
  std::optional<CheckedContinuation<>> gate;
  Events answers;
  const auto task = start([&]() -> Async<void> {
    answers.push_back(co_await nextText(&iterator));
    co_await withCheckedContinuation([&](auto handle) { gate = handle; });
    answers.push_back(co_await nextText(&iterator));
  });
  settle();
  merged.first.continuation.yield(1);
  settle();
  merged.second.continuation.yield(10);
  settle();
  task.cancel();
  settle();
  EXPECT_EQ(merged.events, Events());
  gate->resume();
  settle();
  EXPECT_EQ(answers, (Events{"1", "end"}));
  EXPECT_EQ(answerOf(iterator), "end");
}

TEST(AsyncMergeSequence, StartsNothingInATaskThatIsCancelledAlready) {
  int first = 0;
  int second = 0;
  const auto sequence = merge(counting(first), counting(second));
  Request consumer(Shared{sequence});
  consumer.cancel();
  EXPECT_EQ(consumer.answer(), "end");
  EXPECT_EQ(first, 0);
  EXPECT_EQ(second, 0);
}

TEST(AsyncMergeSequence, IteratorEndedByACancelledTaskGivesOthersTheEnd) {
  Merged merged;
  Shared iterator(merged.sequence);
  Request consumer(iterator);
  consumer.cancel();
  EXPECT_EQ(consumer.answer(), "end");
  EXPECT_EQ(answerOf(iterator), "end");
}

TEST(AsyncMergeSequence, CancelledFirstRequestDropsTheBases) {
  Events events;
  auto made = Stream::makeStream();
  made.continuation.setOnTermination(
      [&](const StreamTermination& termination) { events.push_back(textOf(termination)); });
  std::optional sequence = merge(std::move(made.stream), Stream::makeStream().stream);
  Shared iterator(*sequence);
  sequence.reset();
  Request consumer(iterator);
  consumer.cancel();
  EXPECT_EQ(consumer.answer(), "end");
  EXPECT_EQ(events, Events{"cancelled"});
}

TEST(AsyncMergeSequence, CancelsBothWhenTheIteratorIsDropped) {
  Merged merged;
  {
    auto iterator = merged.sequence.makeAsyncIterator();
    const auto task = start([&]() -> Async<void> { co_await iterator.next(); });
    settle();
    merged.first.continuation.yield(1);
    settle();
    EXPECT_TRUE(task.isFinished());
    EXPECT_EQ(merged.events, Events());
  }
  // The second is being waited for; the first is not asked for anything, and notices once it is dropped.
  EXPECT_EQ(merged.events, Events{"second cancelled"});
  settle();
  merged.sequence = merge(Stream::makeStream().stream, Stream::makeStream().stream);
  merged.first.stream = Stream::makeStream().stream;
  EXPECT_EQ(merged.events, (Events{"second cancelled", "first cancelled"}));
}

TEST(AsyncMergeSequence, DroppingAnIteratorThatWasNeverAskedDropsBothBases) {
  Events events;
  {
    auto made = Stream::makeStream();
    made.continuation.setOnTermination(
        [&](const StreamTermination& termination) { events.push_back(textOf(termination)); });
    const auto iterator = merge(std::move(made.stream), Stream::makeStream().stream).makeAsyncIterator();
    EXPECT_EQ(events, Events());
  }
  EXPECT_EQ(events, Events{"cancelled"});
}

TEST(AsyncMergeSequence, StopsTheProcessWhenTwoTasksAreInNextAtOnce) {
  Merged merged;
  Shared iterator(merged.sequence);
  const Request one(iterator);
  EXPECT_EQ(one.answer(), "waiting");
  EXPECT_EXIT(answerOf(iterator), testing::KilledBySignal(SIGABRT),
              "^Tessaly/AsyncMergeSequence:[0-9]+: Fatal error: Two tasks wait for one merged sequence\n$");
}

TEST(AsyncMergeSequence, MayBeAskedByOneTaskAfterTheOther) {
  auto iterator = merge(streamOf({1}), streamOf({1})).makeAsyncIterator();
  EXPECT_EQ(answerOf(iterator), "1");
  EXPECT_EQ(answerOf(iterator), "1");
  EXPECT_EQ(answerOf(iterator), "end");
}

TEST(AsyncMergeSequence, FeedsEachIteratorByTasksOfItsOwn) {
  int first = 0;
  int second = 0;
  const auto sequence = merge(counting(first), counting(second));
  auto one = sequence.makeAsyncIterator();
  auto two = sequence.makeAsyncIterator();
  EXPECT_EQ(answerOf(one), "0");
  EXPECT_EQ(first + second, 2);
  static_cast<void>(answerOf(two));
  EXPECT_EQ(first + second, 4);
}

TEST(AsyncMergeSequence, FetchesWithoutAnIsolationAndGivesInTheConsumers) {
  const Isolation caller = Isolation::serial();
  const Isolation other = Isolation::serial();
  std::vector<Isolation> seen;
  const auto recording = AsyncStream<int>::unfolding([&]() -> Async<std::optional<int>> {
    seen.push_back(Isolation::current());
    co_return 1;
  });
  const auto task = start({.isolation = caller}, [&]() -> Async<void> {
    auto iterator = merge(recording, recording).makeAsyncIterator();
    co_await iterator.next();
    EXPECT_EQ(Isolation::current(), caller);
    co_await iterator.next(other);
    EXPECT_EQ(Isolation::current(), caller);
  });
  settle();
  EXPECT_TRUE(task.isFinished());
  EXPECT_GE(seen.size(), 3u);
  EXPECT_EQ(seen, std::vector(seen.size(), Isolation()));
}

constinit TaskLocal<int> requestNumber(0);

TEST(AsyncMergeSequence, FetchesWithTheTaskLocalsAndThePriorityOfTheFirstNext) {
  const auto recording = AsyncStream<int>::unfolding([]() -> Async<std::optional<int>> {
    co_return requestNumber.value() * 100 + static_cast<int>(Task<>::currentPriority());
  });
  auto iterator = merge(recording, recording).makeAsyncIterator();
  std::string answer;
  const auto task = start({.priority = TaskPriority::low}, [&]() -> Async<void> {
    co_await requestNumber.withValue(7, [&]() -> Async<void> { answer = co_await nextText(&iterator); });
  });
  settle();
  EXPECT_EQ(answer, "717");
}

TEST(AsyncMergeSequence, PassesElementsThatCanOnlyBeMoved) {
  auto [first, firstEnd] = AsyncStream<std::unique_ptr<int>>::makeStream();
  auto [second, secondEnd] = AsyncStream<std::unique_ptr<int>>::makeStream();
  firstEnd.yield(std::make_unique<int>(5));
  secondEnd.yield(std::make_unique<int>(5));
  firstEnd.finish();
  secondEnd.finish();
  auto iterator = merge(first, second).makeAsyncIterator();
  EXPECT_EQ(answersOf(iterator), "5 5 end");
}

/// An element that cannot be moved a second time.
struct Fragile {
  Fragile() = default;
  Fragile(Fragile&& other) : moves(other.moves + 1) {
    if (moves == limit) throw std::runtime_error("broken");
  }
  int moves = 0;
  static inline int limit = -1;
};

TEST(AsyncMergeSequence, FailsOrGoesOnWhenAnElementsMoveThrows) {
  for (int limit = 1; limit < 12; ++limit) {
    Fragile::limit = -1;
    auto [first, firstEnd] = AsyncStream<Fragile>::makeStream();
    auto [second, secondEnd] = AsyncStream<Fragile>::makeStream();
    firstEnd.yield(Fragile());
    firstEnd.finish();
    secondEnd.finish();
    Fragile::limit = limit;
    const auto sequence = merge(first, second);
    std::string answers;
    const auto task = start([&]() -> Async<void> {
      auto iterator = sequence.makeAsyncIterator();
      for (int i = 0; i < 2; ++i) {
        try {
          answers += (co_await iterator.next()) ? "whole " : "end ";
        } catch (const std::runtime_error& error) {
          answers += error.what() + std::string(" ");
        }
      }
    });
    settle();
    EXPECT_TRUE(task.isFinished());
    EXPECT_TRUE(answers == "broken end " || answers == "whole end ") << limit << ": " << answers;
  }
}

// In every order of steps.

constexpr std::size_t elementsEach = 5;

/// Both bases are fed by tasks; a base may fail, the consumer may be cancelled, or may leave early.
void deliverInOrderAndEnd(Tasks& tasks) {
  enum class Ending { finish, fail, cancel, leave };
  const auto ending = static_cast<Ending>(tasks.random(4));
  const int when = tasks.random(10);
  std::array<std::atomic<int>, 2> terminations{};
  std::array<std::vector<int>, 2> received;
  std::atomic<int> errors{0};
  std::atomic<bool> sawTheEnd{false};
  {
    std::array<Stream::StreamAndContinuation, 2> bases{Stream::makeStream(), Stream::makeStream()};
    for (std::size_t base = 0; base < 2; ++base) {
      const auto& continuation = bases[base].continuation;
      continuation.setOnTermination([&, base](const StreamTermination&) { ++terminations[base]; });
      tasks.add([continuation, base, ending, when]() -> Async<void> {
        for (int i = 0; i < static_cast<int>(elementsEach); ++i) {
          if (ending == Ending::fail && base == 0 && i == when % 5) {
            continuation.finish(std::runtime_error("torn"));
            co_return;
          }
          continuation.yield(i);
          co_await Task<>::yield();
        }
        continuation.finish();
      });
    }
    const auto tagged = [](const Stream& stream, std::size_t base) {
      return map(stream, [base](int element) { return std::pair(base, element); });
    };
    const Task<> consumer =
        tasks.add([&, sequence = std::optional(merge(tagged(bases[0].stream, 0), tagged(bases[1].stream, 1))), ending,
                   when]() mutable -> Async<void> {
          auto iterator = sequence->makeAsyncIterator();
          sequence.reset();
          try {
            for (int i = 0; ending != Ending::leave || i < when; ++i) {
              const auto element = co_await iterator.next();
              if (!element) {
                sawTheEnd = true;
                break;
              }
              received[element->first].push_back(element->second);
              if (i % 3 == 0) co_await Task<>::yield();
            }
          } catch (const std::runtime_error&) {
            ++errors;
          }
          if (errors > 0) EXPECT_FALSE((co_await iterator.next()).has_value());
        });
    if (ending == Ending::cancel) {
      tasks.add([consumer, when]() -> Async<void> {
        co_await pause(when);
        consumer.cancel();
      });
    }
  }
  tasks.wait();
  for (std::size_t base = 0; base < 2; ++base) {
    for (std::size_t i = 0; i < received[base].size(); ++i) EXPECT_EQ(received[base][i], static_cast<int>(i));
  }
  switch (ending) {
    case Ending::finish:
      EXPECT_EQ(received[0].size(), elementsEach);
      EXPECT_EQ(received[1].size(), elementsEach);
      EXPECT_TRUE(sawTheEnd);
      break;
    case Ending::fail:
      EXPECT_EQ(received[0].size(), static_cast<std::size_t>(when % 5));
      EXPECT_EQ(errors, 1);
      EXPECT_FALSE(sawTheEnd);
      break;
    case Ending::cancel:
      EXPECT_EQ(errors, 0);
      EXPECT_TRUE(sawTheEnd);
      break;
    case Ending::leave:
      EXPECT_EQ(errors, 0);
      break;
  }
  // The child tasks, which hold the last references to the bases, may end after the consumer.
  for (const auto& count : terminations) {
    while (count == 0 && tasks.on() == Tasks::On::pool) std::this_thread::yield();
    EXPECT_EQ(count, 1);
  }
}

TEST(AsyncMergeSequence, DeliversInOrderAndEndsInEveryOrderOfSteps) { holdsInEveryOrderOfSteps(deliverInOrderAndEnd); }
TEST(AsyncMergeSequence, DeliversInOrderAndEndsOnManyThreads) { holdsOnManyThreads(deliverInOrderAndEnd); }

}  // namespace
}  // namespace Tessaly
