// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Tessaly/Concurrency/ReducedReplayAsyncStream.hpp"
#include "Tessaly/Core/Tasks/SyncWait.hpp"
#include "Tessaly/Platform/Testing/RecordingLogBackend.hpp"
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
using Tests::repetitions;
using Tests::Request;
using Tests::settle;
using Tests::Tasks;

using Stream = ReducedReplayAsyncStream<int>;
using Continuation = Stream::Continuation;

void add(int& sum, int element) { sum += element; }

struct Sum {
  explicit Sum(BufferingPolicy policy = BufferingPolicy::unbounded(), int initialResult = 0)
      : stream(policy, initialResult, add, [&](Continuation built) { continuation.emplace(std::move(built)); }) {
    SeededScheduler::install();
  }

  Sum(const Sum&) = delete;
  Sum& operator=(const Sum&) = delete;
  /// A producer that never ends leaves its consumer waiting.
  ~Sum() {
    continuation->finish();
    settle();
  }

  std::optional<Continuation> continuation;
  Stream stream;
};

TEST(ReducedReplayAsyncStream, TheFirstSubscriberReceivesEveryElement) {
  Sum sum;
  auto first = sum.stream.makeAsyncIterator();
  settle();
  for (const int element : {1, 2, 3}) sum.continuation->yield(element);
  EXPECT_EQ(answersOf(first), "1 2 3 waiting");
}

TEST(ReducedReplayAsyncStream, LateSubscriberReceivesTheSumFirst) {
  Sum sum;
  auto first = sum.stream.makeAsyncIterator();
  for (const int element : {1, 2, 3}) sum.continuation->yield(element);
  settle();
  auto late = sum.stream.makeAsyncIterator();
  EXPECT_EQ(answerOf(late), "6");
  Request waiting(late);
  EXPECT_EQ(waiting.answer(), "waiting");
  sum.continuation->yield(4);
  EXPECT_EQ(waiting.answer(), "4");
}

TEST(ReducedReplayAsyncStream, EarlySecondSubscriberReceivesTheInitialResult) {
  Sum sum(BufferingPolicy::unbounded(), 100);
  auto first = sum.stream.makeAsyncIterator();
  settle();
  auto second = sum.stream.makeAsyncIterator();
  settle();
  sum.continuation->yield(1);
  EXPECT_EQ(answerOf(second), "100");
  EXPECT_EQ(answerOf(second), "1");
  EXPECT_EQ(answerOf(first), "1");
}

TEST(ReducedReplayAsyncStream, TheFirstSubscriberNeverReceivesTheInitialResult) {
  Sum sum(BufferingPolicy::unbounded(), 100);
  auto first = sum.stream.makeAsyncIterator();
  EXPECT_EQ(answersOf(first), "waiting");
}

TEST(ReducedReplayAsyncStream, NothingIsConsumedBeforeASubscription) {
  Sum sum(BufferingPolicy::newest(2));
  for (const int element : {1, 2, 3}) sum.continuation->yield(element);
  settle();
  EXPECT_EQ(sum.continuation->yield(4).element, 2);  // The element is still in the producer's buffer.
  auto first = sum.stream.makeAsyncIterator();
  EXPECT_EQ(answersOf(first), "3 4 waiting");
  sum.continuation->yield(5);
  settle();
  EXPECT_EQ(sum.continuation->yield(6).kind, YieldResultKind::enqueued);
}

TEST(ReducedReplayAsyncStream, BuildsTheProducerImmediatelyAndOnce) {
  SeededScheduler::install();
  int builds = 0;
  std::optional<Continuation> continuation;
  const Stream stream(BufferingPolicy::unbounded(), 0, add, [&](const Continuation& built) {
    continuation = built;
    ++builds;
  });
  EXPECT_EQ(builds, 1);
  const Stream copy = stream;
  auto first = stream.newStream();
  auto second = copy.newStream();
  settle();
  EXPECT_EQ(builds, 1);
  continuation->finish();
  settle();
}

TEST(ReducedReplayAsyncStream, EachIterationIsASubscription) {
  Sum sum;
  auto first = sum.stream.makeAsyncIterator();
  settle();
  auto second = sum.stream.makeAsyncIterator();
  settle();
  sum.continuation->yield(7);
  settle();
  auto third = sum.stream.makeAsyncIterator();
  EXPECT_EQ(answersOf(first), "7 waiting");
  EXPECT_EQ(answersOf(second), "0 7 waiting");
  EXPECT_EQ(answersOf(third), "7 waiting");
}

TEST(ReducedReplayAsyncStream, CopiesShareTheProducerAndTheSum) {
  Sum sum;
  const Stream copy = sum.stream;
  auto first = sum.stream.makeAsyncIterator();
  sum.continuation->yield(5);
  settle();
  auto late = copy.makeAsyncIterator();
  EXPECT_EQ(answersOf(late), "5 waiting");
}

TEST(ReducedReplayAsyncStream, TheEndOfTheProducerEndsEverySubscriber) {
  Sum sum;
  auto first = sum.stream.makeAsyncIterator();
  settle();
  auto second = sum.stream.makeAsyncIterator();
  settle();
  sum.continuation->yield(1);
  sum.continuation->finish();
  EXPECT_EQ(answersOf(first), "1 end");
  EXPECT_EQ(answersOf(second), "0 1 end");
}

TEST(ReducedReplayAsyncStream, SubscriberAfterTheEndReceivesTheSum) {
  Sum sum;
  auto first = sum.stream.makeAsyncIterator();
  sum.continuation->yield(4);
  sum.continuation->finish();
  EXPECT_EQ(answersOf(first), "4 end");
  auto late = sum.stream.makeAsyncIterator();
  EXPECT_EQ(answerOf(late), "4");
  Request waiting(late);
  EXPECT_EQ(waiting.answer(), "waiting");
  waiting.cancel();
  EXPECT_EQ(waiting.answer(), "end");
}

TEST(ReducedReplayAsyncStream, EndedProducerEndsTheFirstSubscriber) {
  Sum sum;
  sum.continuation->yield(1);
  sum.continuation->finish();
  auto first = sum.stream.makeAsyncIterator();
  EXPECT_EQ(answersOf(first), "1 end");
}

TEST(ReducedReplayAsyncStream, CancelledSubscriberDoesNotAffectOthers) {
  Sum sum;
  auto first = sum.stream.makeAsyncIterator();
  settle();
  auto second = sum.stream.makeAsyncIterator();
  settle();
  Request waiting(first);
  settle();
  waiting.cancel();
  EXPECT_EQ(waiting.answer(), "end");
  sum.continuation->yield(1);
  EXPECT_EQ(answersOf(first), "end");
  EXPECT_EQ(answersOf(second), "0 1 waiting");
}

TEST(ReducedReplayAsyncStream, ContinuesAfterTheFirstSubscriberEnds) {
  Sum sum;
  static_cast<void>(sum.stream.newStream());
  settle();
  sum.continuation->yield(3);
  settle();
  auto late = sum.stream.makeAsyncIterator();
  EXPECT_EQ(answersOf(late), "3 waiting");
}

// A stream of elements whose copies and moves may throw, and the log that it writes to.
struct FragileSum {
  FragileSum()
      : stream(BufferingPolicy::unbounded(), FragileElement(0), FragileElement::add,
               [&](auto built) { continuation.emplace(std::move(built)); }) {
    SeededScheduler::install();
  }
  FragileSum(const FragileSum&) = delete;
  FragileSum& operator=(const FragileSum&) = delete;
  ~FragileSum() {
    continuation->finish();
    settle();
  }

  AsyncStream<FragileElement>::AsyncIterator subscribe() const {
    auto iterator = stream.makeAsyncIterator();
    settle();
    return iterator;
  }

  const std::shared_ptr<RecordingLogBackend> backend = std::make_shared<RecordingLogBackend>();
  const LogBackendInstallation installation{backend};
  std::optional<AsyncStream<FragileElement>::Continuation> continuation;
  ReducedReplayAsyncStream<FragileElement> stream;
};

TEST(ReducedReplayAsyncStream, CopyThatThrowsEndsItsOwnSubscriberOnly) {
  FragileSum sum;
  auto first = sum.subscribe();
  auto second = sum.subscribe();
  auto third = sum.subscribe();
  FragileElement::copiesLeft = 2;
  sum.continuation->yield(FragileElement(1));
  settle();
  sum.continuation->yield(FragileElement(2));
  sum.continuation->finish();
  EXPECT_EQ(answersOf(first), "1 2 end");
  EXPECT_EQ(answersOf(second), "0 end");
  EXPECT_EQ(answersOf(third), "0 1 2 end");
  EXPECT_EQ(
      sum.backend->messages(),
      (std::vector<std::string>{"A subscriber ended early, because copying or moving an element has thrown: no copy"}));
}

TEST(ReducedReplayAsyncStream, CopyThatThrowsOnJoiningEndsThatSubscriber) {
  FragileSum sum;
  auto first = sum.subscribe();
  sum.continuation->yield(FragileElement(1));
  settle();
  FragileElement::copiesLeft = 1;
  auto late = sum.subscribe();
  sum.continuation->finish();
  EXPECT_EQ(answersOf(first), "1 end");
  EXPECT_EQ(answersOf(late), "end");
  EXPECT_EQ(sum.backend->messages().size(), 1U);
}

TEST(ReducedReplayAsyncStream, MoveThatThrowsEndsEverySubscriber) {
  FragileSum sum;
  auto first = sum.subscribe();
  auto second = sum.subscribe();
  sum.continuation->yield(FragileElement(1));
  settle();
  sum.continuation->yield(FragileElement(2));
  FragileElement::movesLeft = 1;
  settle();
  EXPECT_EQ(answersOf(first), "1 end");
  EXPECT_EQ(answersOf(second), "0 1 end");
  EXPECT_EQ(sum.backend->messages(),
            (std::vector<std::string>{
                "All subscribers ended early, because copying or moving an element has thrown: no move"}));
}

TEST(ReducedReplayAsyncStream, FoldsAndDeliversOnOneExecutorAtATime) {
  std::atomic<int> inside{0};
  std::atomic<bool> overlapped{false};
  std::optional<Continuation> continuation;
  const Stream stream(
      BufferingPolicy::unbounded(), 0,
      [&](int& sum, int element) {
        if (inside.fetch_add(1) != 0) overlapped = true;
        sum += element;
        inside.fetch_sub(1);
      },
      [&](Continuation built) { continuation.emplace(std::move(built)); });
  auto first = stream.makeAsyncIterator();
  std::vector<std::jthread> threads;
  for (int i = 0; i < 3; ++i) {
    threads.emplace_back([&] {
      for (int j = 0; j < 300; ++j) continuation->yield(1);
    });
  }
  int received = 0;
  syncWait([&]() -> Async<void> {
    while (received < 900) received += (co_await first.next()).value();
    continuation->finish();  // Without it the consumer would wait for ever.
    EXPECT_EQ(co_await first.next(), std::nullopt);
  });
  EXPECT_FALSE(overlapped);
}

TEST(ReducedReplayAsyncStream, SubscriberJoinsWhileManyElementsWait) {
  SeededScheduler::install();
  std::optional<Continuation> continuation;
  std::optional<Stream::AsyncIterator> late;
  std::optional<Stream> stream;
  const auto reduce = [&](int& sum, int element) {
    sum += element;
    if (!late) late = stream->makeAsyncIterator();
  };
  stream.emplace(BufferingPolicy::unbounded(), 0, reduce, [&](Continuation built) { continuation = std::move(built); });
  constexpr int count = 10'000;
  for (int i = 0; i < count; ++i) continuation->yield(1);
  auto first = stream->makeAsyncIterator();
  settle();
  ASSERT_TRUE(late);
  EXPECT_LT(std::stoi(answerOf(*late)), count / 2);
  continuation->finish();
  settle();
}

TEST(ReducedReplayAsyncStreamDeathTest, AReduceThatThrowsStopsTheProcess) {
  EXPECT_EXIT(
      {
        SeededScheduler::install();
        std::optional<Continuation> continuation;
        const Stream stream(
            BufferingPolicy::unbounded(), 0, [](int&, int) { throw 1; },
            [&](Continuation built) { continuation.emplace(std::move(built)); });
        auto first = stream.makeAsyncIterator();
        continuation->yield(1);
        settle();
      },
      testing::KilledBySignal(SIGABRT), "Fatal error: A reduce function has thrown\n");
}

// Counts its live objects.
struct Counted {
  explicit Counted(std::string text) : text(std::move(text)) { ++living; }
  Counted(const Counted& other) : text(other.text) { ++living; }
  Counted& operator=(const Counted&) = default;
  ~Counted() { --living; }
  std::string text;
  static inline std::atomic<int> living{0};
};

TEST(ReducedReplayAsyncStream, KeepsNothingAfterAllSubscribersEnded) {
  SeededScheduler::install();
  {
    std::optional<ReducedReplayAsyncStream<Counted>::Continuation> continuation;
    const ReducedReplayAsyncStream<Counted> stream(
        BufferingPolicy::unbounded(), Counted(""), [](Counted& whole, const Counted& part) { whole.text += part.text; },
        [&](auto built) { continuation.emplace(std::move(built)); });
    auto first = stream.newStream();
    auto second = stream.newStream();
    settle();
    for (int i = 0; i < 10; ++i) continuation->yield(Counted(std::to_string(i)));
    settle();
    EXPECT_GT(Counted::living, 20);  // The elements are in the buffers of two idle subscribers.
    continuation->finish();
    settle();
  }
  settle();
  EXPECT_EQ(Counted::living, 0);
}

// A producer runs while subscribers join and leave. In every order, each subscriber receives a sum and then every later
// element, and finally has the whole sum.
void joinAndLeave(Tasks& tasks) {
  constexpr int elements = 8;
  struct Shared {
    Shared()
        : stream(BufferingPolicy::unbounded(), 0, add,
                 [this](Continuation built) { continuation.emplace(std::move(built)); }) {}
    std::optional<Continuation> continuation;
    Stream stream;
    std::atomic<bool> someoneJoinedAfterTheEnd{false};
  };
  const auto shared = std::make_shared<Shared>();
  std::vector<AsyncStream<int>> subscribers;
  tasks.add([shared, delay = tasks.random(4)]() -> Async<void> {
    co_await pause(delay);
    for (int i = 1; i <= elements; ++i) {
      shared->continuation->yield(1 << i);
      co_await pause(1);
    }
    shared->continuation->finish();
  });
  for (int i = 0; i < 4; ++i) {
    tasks.add([shared, delay = tasks.random(8), limit = tasks.random(12)]() -> Async<void> {
      co_await pause(delay);
      auto iterator = shared->stream.makeAsyncIterator();
      int known = 0;
      int last = 0;
      const int whole = (1 << (elements + 1)) - 2;
      for (int received = 0; received < limit; ++received) {
        if (known == whole) break;  // A subscriber that joined after the end would wait for ever.
        const auto element = co_await iterator.next();
        if (!element) break;
        if (received > 0) EXPECT_GT(*element, last) << "out of order";
        EXPECT_EQ(known & *element, 0) << "received twice";
        known += *element;
        last = *element;
        // The sum consists of the first elements without a gap.
        EXPECT_EQ((known + 2) & (known + 1), 0) << "a gap: " << known;
      }
    });
  }
  tasks.wait();
}

TEST(ReducedReplayAsyncStream, EveryOrderOfStepsGivesTheWholeSum) { holdsInEveryOrderOfSteps(joinAndLeave); }

TEST(ReducedReplayAsyncStream, ManyThreadsGiveTheWholeSum) { holdsOnManyThreads(joinAndLeave); }

// The consumer is cancelled at each of its steps.
TEST(ReducedReplayAsyncStream, AConsumerMayBeCancelledAtAnyStep) {
  SeededScheduler& scheduler = SeededScheduler::install();
  for (std::uint64_t seed = 0; seed < 30; ++seed) {
    for (int steps = 0; steps < 40; ++steps) {
      scheduler.reseed(seed);
      Sum sum;
      const auto other = sum.stream.newStream();
      auto consumer = Tests::start([stream = sum.stream]() -> Async<void> {
        auto iterator = stream.makeAsyncIterator();
        while (co_await iterator.next()) {
        }
      });
      for (const int element : {1, 2, 3}) sum.continuation->yield(element);
      for (int step = 0; step < steps && scheduler.runOne(); ++step) {
      }
      consumer.cancel();
      settle();
      EXPECT_TRUE(consumer.isFinished());
      sum.continuation->yield(4);
      sum.continuation->finish();
      auto iterator = other.makeAsyncIterator();
      const std::string answers = answersOf(iterator);
      ASSERT_TRUE(answers.ends_with("4 end")) << answers;
    }
  }
}

TEST(ReducedReplayAsyncStream, TenThousandSubscribersJoinAndLeaveWhileAProducerRuns) {
  constexpr int subscribers = 10'000;
  std::optional<Continuation> continuation;
  const Stream stream(BufferingPolicy::unbounded(), 0, add,
                      [&](Continuation built) { continuation.emplace(std::move(built)); });
  // An element goes to every subscriber. So the producer continues only after a permanent subscriber has received the
  // last element.
  std::atomic<bool> isOver{false};
  std::atomic<int> received{0};
  std::jthread producer;
  std::atomic<int> served{0};
  syncWait([&]() -> Async<void> {
    auto iterator = stream.makeAsyncIterator();
    continuation->yield(1);
    EXPECT_EQ(co_await iterator.next(), 1);
    auto staying = Task<>::detached([iterator, &received]() mutable -> Async<void> {
      while (co_await iterator.next()) {
        ++received;
        received.notify_one();
      }
    });
    producer = std::jthread([&] {
      for (int yielded = 0; !isOver; ++yielded) {
        for (int count = received; count < yielded; count = received) received.wait(count);
        continuation->yield(1);
      }
      continuation->finish();
    });
    std::vector<Task<>> tasks;
    for (int i = 0; i < subscribers; ++i) {
      tasks.push_back(Task<>::detached([stream, &served, i]() -> Async<void> {
        auto iterator = stream.makeAsyncIterator();
        int last = 0;
        for (int j = 0; j <= i % 3; ++j) {
          const auto element = co_await iterator.next();
          if (!element) co_return;  // The subscriber was cancelled.
          if (j > 0) EXPECT_EQ(*element, 1);
          last = *element;
        }
        EXPECT_GT(last, 0);
        ++served;
      }));
      if (i % 7 == 0) tasks.back().cancel();
      if (tasks.size() == 500) {
        for (const auto& task : tasks) co_await task.finished();
        tasks.clear();
      }
    }
    for (const auto& task : tasks) co_await task.finished();
    isOver = true;
    co_await staying.finished();
  });
  EXPECT_GE(served, subscribers - subscribers / 7 - 1);
}

}  // namespace
}  // namespace Tessaly
