// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <memory>
#include <optional>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "Tessaly/Core/Tasks/SyncWait.hpp"
#include "Tessaly/Core/Tasks/detail/AsyncStreamStorage.hpp"
#include "tests/Core/Tasks/Streams.hpp"

namespace Tessaly {
namespace {

using detail::AsyncStreamStorage;
using Tests::answersOf;
using Tests::Request;
using Tests::settle;
using Tests::start;
using Tests::textOf;

// What a yield does while nobody waits: results, and what is left.

struct Buffered {
  std::vector<std::string> results;
  std::string left;
};

Buffered buffer(BufferingPolicy policy, int count) {
  auto [stream, continuation] = AsyncStream<int>::makeStream(policy);
  Buffered buffered;
  for (int i = 1; i <= count; ++i) buffered.results.push_back(textOf(continuation.yield(i)));
  continuation.finish();
  auto iterator = stream.makeAsyncIterator();
  buffered.left = answersOf(iterator);
  return buffered;
}

using Results = std::vector<std::string>;

TEST(AsyncStreamStorage, WithoutABoundAppendsAndTellsTheLargestInteger) {
  const auto [results, left] = buffer(BufferingPolicy::unbounded(), 3);
  EXPECT_EQ(results,
            (Results{"enqueued 9223372036854775807", "enqueued 9223372036854775807", "enqueued 9223372036854775807"}));
  EXPECT_EQ(left, "1 2 3 end");
}

TEST(AsyncStreamStorage, KeepingTheOldestDropsWhatComesLater) {
  const auto [results, left] = buffer(BufferingPolicy::oldest(3), 5);
  EXPECT_EQ(results, (Results{"enqueued 2", "enqueued 1", "enqueued 0", "dropped 4", "dropped 5"}));
  EXPECT_EQ(left, "1 2 3 end");
}

TEST(AsyncStreamStorage, KeepingTheNewestDropsWhatCameFirst) {
  const auto [results, left] = buffer(BufferingPolicy::newest(3), 5);
  EXPECT_EQ(results, (Results{"enqueued 2", "enqueued 1", "enqueued 0", "dropped 1", "dropped 2"}));
  EXPECT_EQ(left, "3 4 5 end");
}

TEST(AsyncStreamStorage, KeepingOneKeepsTheFirstOrTheLast) {
  const auto [oldest, first] = buffer(BufferingPolicy::oldest(1), 3);
  EXPECT_EQ(oldest, (Results{"enqueued 0", "dropped 2", "dropped 3"}));
  EXPECT_EQ(first, "1 end");
  const auto [newest, last] = buffer(BufferingPolicy::newest(1), 3);
  EXPECT_EQ(newest, (Results{"enqueued 0", "dropped 1", "dropped 2"}));
  EXPECT_EQ(last, "3 end");
}

TEST(AsyncStreamStorage, KeepingNoneOrLessDropsTheNewElement) {
  for (const std::int64_t limit : {0, -1, -100}) {
    for (const auto policy : {BufferingPolicy::oldest(limit), BufferingPolicy::newest(limit)}) {
      const auto [results, left] = buffer(policy, 2);
      EXPECT_EQ(results, (Results{"dropped 1", "dropped 2"}));
      EXPECT_EQ(left, "end");
    }
  }
}

TEST(AsyncStreamStorage, RoomGrowsAgainAsElementsAreTaken) {
  for (const auto policy : {BufferingPolicy::oldest(2), BufferingPolicy::newest(2)}) {
    auto [stream, continuation] = AsyncStream<int>::makeStream(policy);
    continuation.yield(1);
    EXPECT_EQ(textOf(continuation.yield(2)), "enqueued 0");
    EXPECT_EQ(Request(stream.makeAsyncIterator()).answer(), "1");
    EXPECT_EQ(textOf(continuation.yield(3)), "enqueued 0");
    EXPECT_EQ(Request(stream.makeAsyncIterator()).answer(), "2");
    EXPECT_EQ(Request(stream.makeAsyncIterator()).answer(), "3");
    EXPECT_EQ(textOf(continuation.yield(4)), "enqueued 1");
  }
}

TEST(AsyncStreamStorage, HandsAWaiterItsElementWhateverTheLimitAndTellsTheWholeLimit) {
  const std::pair<BufferingPolicy, const char*> expectations[] = {
      {BufferingPolicy::unbounded(), "enqueued 9223372036854775807"},
      {BufferingPolicy::oldest(3), "enqueued 3"},
      {BufferingPolicy::newest(3), "enqueued 3"},
      {BufferingPolicy::oldest(0), "enqueued 0"},
      {BufferingPolicy::newest(0), "enqueued 0"},
      {BufferingPolicy::oldest(-2), "enqueued 0"},
      {BufferingPolicy::newest(-2), "enqueued 0"},
  };
  for (const auto& [policy, result] : expectations) {
    auto [stream, continuation] = AsyncStream<int>::makeStream(policy);
    const Request first(stream.makeAsyncIterator());
    EXPECT_EQ(first.answer(), "waiting");
    const Request second(stream.makeAsyncIterator());
    EXPECT_EQ(second.answer(), "waiting");
    EXPECT_EQ(textOf(continuation.yield(7)), result);
    EXPECT_EQ(first.answer(), "7");
    EXPECT_EQ(textOf(continuation.yield(8)), result);
    EXPECT_EQ(second.answer(), "8");
  }
}

TEST(AsyncStreamStorage, DiscardsWhatIsYieldedAfterTheEnd) {
  const auto witness = std::make_shared<int>(1);
  auto [stream, continuation] = AsyncStream<std::shared_ptr<int>>::makeStream();
  continuation.finish();
  const auto result = continuation.yield(witness);
  EXPECT_EQ(result.kind, YieldResultKind::terminated);
  EXPECT_EQ(result.remaining, 0);
  EXPECT_EQ(result.element, std::nullopt);
  EXPECT_EQ(witness.use_count(), 1);
}

TEST(AsyncStreamStorage, HoldsItsBoundWhoeverDoesNotCome) {
  const auto witness = std::make_shared<int>(1);
  for (const auto policy : {BufferingPolicy::oldest(16), BufferingPolicy::newest(16)}) {
    auto [stream, continuation] = AsyncStream<std::shared_ptr<int>>::makeStream(policy);
    for (int i = 0; i < 10'000; ++i) {
      continuation.yield(witness);
      ASSERT_LE(witness.use_count(), 17);
    }
    EXPECT_EQ(witness.use_count(), 17);
  }
  EXPECT_EQ(witness.use_count(), 1);
}

// Elements of every kind.

TEST(AsyncStreamStorage, KeepsTheOrderWhileTwoIteratorsTakeFromABacklogThatGrows) {
  auto [stream, continuation] = AsyncStream<int>::makeStream();
  std::array iterators{stream.makeAsyncIterator(), stream.makeAsyncIterator()};
  std::mt19937 random(7);
  int yielded = 0;
  int taken = 0;
  syncWait([&]() -> Async<void> {
    for (int step = 0; step < 20'000; ++step) {
      for (auto count = random() % 9; count > 0; --count) continuation.yield(yielded++);
      for (auto count = random() % 9; count > 0 && taken < yielded; --count) {
        const auto element = co_await iterators[random() % 2].next();
        EXPECT_EQ(element, taken++);
      }
    }
  });
  EXPECT_GT(taken, 70'000);
}

TEST(AsyncStreamStorage, FreesWhatItsConsumersLeaveOfABacklog) {
  auto alive = std::make_shared<int>();
  auto [stream, continuation] = AsyncStream<std::shared_ptr<int>>::makeStream();
  for (int i = 0; i < 100; ++i) continuation.yield(alive);
  {
    auto iterator = std::exchange(stream, AsyncStream<std::shared_ptr<int>>::makeStream().stream).makeAsyncIterator();
    syncWait([&]() -> Async<void> { co_await iterator.next(); });
    continuation.yield(alive);
    EXPECT_EQ(alive.use_count(), 101);
  }
  EXPECT_EQ(alive.use_count(), 1);
}

TEST(AsyncStreamStorage, PassesElementsThatCanOnlyBeMoved) {
  auto [stream, continuation] = AsyncStream<std::unique_ptr<int>>::makeStream(BufferingPolicy::newest(2));
  const Request waiting(stream.makeAsyncIterator());
  EXPECT_EQ(waiting.answer(), "waiting");
  continuation.yield(std::make_unique<int>(1));
  for (int i = 2; i <= 3; ++i) continuation.yield(std::make_unique<int>(i));
  EXPECT_EQ(textOf(continuation.yield(std::make_unique<int>(4))), "dropped 2");
  continuation.finish();
  EXPECT_EQ(waiting.answer(), "1");
  auto iterator = stream.makeAsyncIterator();
  EXPECT_EQ(answersOf(iterator), "3 4 end");
}

TEST(AsyncStreamStorage, PassesElementsThatCannotBeAssigned) {
  struct Fixed {
    const int number;
    const std::string text;
  };
  auto [stream, continuation] = AsyncStream<Fixed>::makeStream(BufferingPolicy::newest(1));
  continuation.yield({1, "one"});
  const auto result = continuation.yield({2, "two"});
  EXPECT_EQ(result.element->text, "one");
  auto iterator = stream.makeAsyncIterator();
  std::string answer;
  start([&]() -> Async<void> { answer = (co_await iterator.next())->text; });
  settle();
  EXPECT_EQ(answer, "two");
}

TEST(AsyncStreamStorage, TellsAnEmptyElementFromTheEnd) {
  auto [stream, continuation] = AsyncStream<std::optional<int>>::makeStream();
  continuation.yield(std::nullopt);
  continuation.yield(5);
  continuation.finish();
  std::vector<std::optional<std::optional<int>>> answers;
  start([&]() -> Async<void> {
    auto iterator = stream.makeAsyncIterator();
    for (int i = 0; i < 3; ++i) answers.push_back(co_await iterator.next());
  });
  settle();
  ASSERT_EQ(answers.size(), 3u);
  EXPECT_TRUE(answers[0].has_value() && !answers[0]->has_value());
  EXPECT_TRUE(answers[1].has_value() && answers[1]->value() == 5);
  EXPECT_FALSE(answers[2].has_value());
}

/// An element whose n-th move from now on throws.
struct Fragile {
  explicit Fragile(int number) : number(number) {}
  Fragile(Fragile&& other) : number(other.number) {
    if (--movesLeft == 0) throw std::runtime_error("broken " + std::to_string(number));
  }

  int number;
  static inline int movesLeft = -1;
};

std::string textOf(const Fragile& element) { return std::to_string(element.number); }

/// What one `next()` gives, if the n-th move on the element's way out throws.
std::string answerOf(AsyncStream<Fragile>& stream, int movesLeft = -1) {
  std::string answer = "waiting";
  start([&]() -> Async<void> {
    auto iterator = stream.makeAsyncIterator();
    Fragile::movesLeft = movesLeft;
    try {
      const std::optional<Fragile> element = co_await iterator.next();
      answer = element ? textOf(*element) : "end";
    } catch (const std::runtime_error& error) {
      answer = error.what();
    }
  });
  settle();
  Fragile::movesLeft = -1;
  return answer;
}

TEST(AsyncStreamStorage, IsAsItWasWhenAnElementsMoveThrowsOnItsWayIn) {
  auto [stream, continuation] = AsyncStream<Fragile>::makeStream(BufferingPolicy::newest(1));
  continuation.yield(Fragile(1));
  Fragile::movesLeft = 1;
  EXPECT_THROW(continuation.yield(Fragile(2)), std::runtime_error);
  continuation.finish();
  EXPECT_EQ(answerOf(stream), "1");
  EXPECT_EQ(answerOf(stream), "end");
}

TEST(AsyncStreamStorage, KeepsAConsumerWaitingWhenAnElementsMoveThrowsOnItsWayIn) {
  auto [stream, continuation] = AsyncStream<Fragile>::makeStream();
  std::string answer = "waiting";
  start([&]() -> Async<void> {
    auto iterator = stream.makeAsyncIterator();
    answer = std::to_string((co_await iterator.next())->number);
  });
  settle();
  Fragile::movesLeft = 1;
  EXPECT_THROW(continuation.yield(Fragile(1)), std::runtime_error);
  settle();
  EXPECT_EQ(answer, "waiting");
  continuation.yield(Fragile(2));
  settle();
  EXPECT_EQ(answer, "2");
}

TEST(AsyncStreamStorage, ThrowsToTheConsumerWhatAnElementsMoveThrowsOnItsWayOutAndGoesOn) {
  auto [stream, continuation] = AsyncStream<Fragile>::makeStream();
  for (int i = 1; i <= 2; ++i) continuation.yield(Fragile(i));
  EXPECT_EQ(answerOf(stream, 1), "broken 1");
  EXPECT_EQ(answerOf(stream), "2");
  continuation.yield(Fragile(3));
  EXPECT_EQ(answerOf(stream), "3");
}

TEST(AsyncStreamStorage, ThrowsToTheProducerWhatADroppedElementsMoveThrowsAndGoesOn) {
  auto [stream, continuation] = AsyncStream<Fragile>::makeStream(BufferingPolicy::newest(1));
  continuation.yield(Fragile(1));
  Fragile::movesLeft = 2;
  EXPECT_THROW(continuation.yield(Fragile(2)), std::runtime_error);
  EXPECT_EQ(answerOf(stream), "2");
}

// No code of the host's runs under the lock: in all of these it would stop the process, which holds the lock already.

/// An element that can only be copied, and uses its stream whenever it is copied or destroyed.
struct Talkative {
  using Continuation = AsyncStream<Talkative>::Continuation;

  explicit Talkative(std::optional<Continuation>& continuation) : continuation(&continuation) { ++alive; }
  Talkative(const Talkative& other) : continuation(other.continuation) {
    ++alive;
    talk();
  }
  Talkative& operator=(const Talkative&) = delete;
  ~Talkative() {
    --alive;
    talk();
  }
  void talk() const {
    if (*continuation) (*continuation)->setOnTermination((*continuation)->onTermination());
  }

  std::optional<Continuation>* continuation;
  static inline int alive = 0;
};

TEST(AsyncStreamStorage, CopiesAndDestroysElementsOutsideItsLock) {
  for (const auto policy : {BufferingPolicy::unbounded(), BufferingPolicy::oldest(20), BufferingPolicy::newest(20)}) {
    std::optional<Talkative::Continuation> continuation;
    std::optional<AsyncStream<Talkative>> stream;
    stream.emplace(policy, [&](auto made) { continuation = made; });
    int received = 0;
    const auto receive = [&](int count) {
      start([&received, count, iterator = stream->makeAsyncIterator()]() mutable -> Async<void> {
        for (int i = 0; i < count; ++i) {
          if (co_await iterator.next()) ++received;
        }
      });
      settle();
    };
    receive(3);
    for (int i = 0; i < 40; ++i) continuation->yield(Talkative(continuation));
    receive(3);
    EXPECT_EQ(received, 6);
    stream.reset();
    continuation->yield(Talkative(continuation));
    EXPECT_EQ(Talkative::alive, 0);
  }
}

/// Calls a function when it is destroyed.
class AtEnd {
 public:
  explicit AtEnd(std::function<void()> call) : call_(std::make_shared<Call>(std::move(call))) {}

 private:
  struct Call {
    explicit Call(std::function<void()> call) : call(std::move(call)) {}
    ~Call() { call(); }
    std::function<void()> call;
  };
  std::shared_ptr<Call> call_;
};

TEST(AsyncStreamStorage, LetsTheElementsThatAreLeftYieldAndFinishAsTheyGo) {
  std::vector<std::string> events;
  {
    std::optional<AsyncStream<AtEnd>::Continuation> continuation;
    std::optional<AsyncStream<AtEnd>> stream;
    stream.emplace([&](auto made) { continuation = made; });
    for (int i = 0; i < 3; ++i) {
      continuation->yield(AtEnd([&] {
        const auto result = continuation->yield(AtEnd([&] { events.push_back("discarded"); }));
        events.push_back(result.kind == YieldResultKind::terminated ? "terminated" : "taken");
        continuation->finish();
      }));
    }
    stream.reset();
  }
  EXPECT_EQ(events, (Results{"discarded", "terminated", "discarded", "terminated", "discarded", "terminated"}));
}

TEST(AsyncStreamStorage, LetsADroppedElementYieldAsItGoes) {
  int received = 0;
  std::optional<AsyncStream<AtEnd>::Continuation> continuation;
  AsyncStream<AtEnd> stream(BufferingPolicy::newest(1), [&](auto made) { continuation = made; });
  bool hasYielded = false;
  continuation->yield(AtEnd([&] {
    if (!std::exchange(hasYielded, true)) continuation->yield(AtEnd([&] { ++received; }));
  }));
  continuation->yield(AtEnd([&] { ++received; }));
  EXPECT_TRUE(hasYielded);
  EXPECT_EQ(received, 1);
}

TEST(AsyncStreamStorage, DestroysHandlersOutsideItsLock) {
  int destroyed = 0;
  {
    auto [stream, continuation] = AsyncStream<int>::makeStream();
    const auto handler = [&, continuation = continuation] {
      return [end = AtEnd([&, continuation] {
                ++destroyed;
                continuation.yield(1);
                static_cast<void>(continuation.onTermination());
              })](const StreamTermination&) {};
    };
    continuation.setOnTermination(handler());
    continuation.setOnTermination(handler());  // Replaces the one above.
    EXPECT_EQ(destroyed, 1);
    continuation.setOnTermination(nullptr);
    EXPECT_EQ(destroyed, 2);
    continuation.setOnTermination(handler());
    continuation.finish();
    EXPECT_EQ(destroyed, 3);
    continuation.setOnTermination(handler());
    EXPECT_EQ(destroyed, 4);
  }
  EXPECT_EQ(destroyed, 4);
}

/// A handler that uses its stream when it is copied.
struct CopiedHandler {
  explicit CopiedHandler(AsyncStream<int>::Continuation& continuation) : continuation(&continuation) {}
  CopiedHandler(const CopiedHandler& other) : continuation(other.continuation) { continuation->yield(7); }
  void operator()(const StreamTermination&) const {}
  AsyncStream<int>::Continuation* continuation;
};

TEST(AsyncStreamStorage, CopiesHandlersOutsideItsLock) {
  auto [stream, continuation] = AsyncStream<int>::makeStream(BufferingPolicy::oldest(1));
  continuation.setOnTermination(CopiedHandler(continuation));
  const auto copy = continuation.onTermination();
  EXPECT_NE(copy, nullptr);
  continuation.finish();
  auto iterator = stream.makeAsyncIterator();
  EXPECT_EQ(answersOf(iterator), "7 end");
}

}  // namespace
}  // namespace Tessaly
