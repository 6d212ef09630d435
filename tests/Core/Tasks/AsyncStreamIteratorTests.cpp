// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <latch>
#include <memory>
#include <optional>
#include <stdexcept>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "Tessaly/Core/Tasks/AsyncStream.hpp"
#include "Tessaly/Core/Tasks/AsyncThrowingStream.hpp"
#include "Tessaly/Core/Tasks/SyncWait.hpp"
#include "Tessaly/Core/Tasks/detail/AsyncStreamIterator.hpp"
#include "tests/Core/Tasks/Scenarios.hpp"
#include "tests/Support/Repetitions.hpp"

namespace Tessaly {
namespace {

using Tests::holdsInEveryOrderOfSteps;
using Tests::holdsOnManyThreads;
using Tests::pause;
using Tests::repetitions;
using Tests::Tasks;

using Stream = AsyncThrowingStream<int>;

TEST(AsyncStreamIterator, IsCopiedButItsNextIsAwaitedWhereItStands) {
  static_assert(std::is_copy_constructible_v<AsyncStream<int>::AsyncIterator>);
  using Awaiter = decltype(std::declval<AsyncStream<int>::AsyncIterator&>().next());
  static_assert(!std::is_move_constructible_v<Awaiter>);
  static_assert(AsyncIteratorOf<AsyncStream<int>::AsyncIterator, int>);
}

constexpr int producers = 3;
constexpr int consumers = 3;
constexpr int elementsEach = 4;
constexpr int elements = producers * elementsEach;

/// What became of every element, and of the stream.
struct Ledger {
  std::array<std::atomic<int>, elements> delivered{};
  std::array<std::atomic<int>, elements> dropped{};
  std::array<std::atomic<int>, elements> enqueued{};
  std::array<std::atomic<int>, elements> terminated{};
  std::atomic<int> errors{0};
  std::atomic<int> cancellations{0};
  std::atomic<int> finishes{0};
  std::atomic<int> finishesWithAnError{0};

  void note(int element, const YieldResult<int>& result) {
    const auto index = static_cast<std::size_t>(element);
    switch (result.kind) {
      case YieldResultKind::enqueued:
        ++enqueued[index];
        break;
      case YieldResultKind::dropped:
        if (*result.element != element) ++enqueued[index];  // It pushed an older one out.
        ++dropped[static_cast<std::size_t>(*result.element)];
        break;
      case YieldResultKind::terminated:
        ++terminated[index];
        break;
    }
  }
  void note(const StreamTermination& termination) {
    ++(termination.kind == StreamTermination::Kind::cancelled ? cancellations : finishes);
    if (termination.error) ++finishesWithAnError;
  }

  /// Every element was either discarded after the end, or delivered once, or dropped once.
  void check() const {
    for (std::size_t i = 0; i < elements; ++i) {
      EXPECT_EQ(terminated[i] + delivered[i] + dropped[i], 1) << "element " << i;
      EXPECT_LE(enqueued[i], 1) << "element " << i;
      EXPECT_LE(delivered[i], enqueued[i]) << "element " << i;
    }
    EXPECT_EQ(cancellations + finishes, 1);
    // A finish with an error may also come while the handler of a cancellation runs: then that error is delivered.
    if (cancellations == 0) EXPECT_EQ(errors, finishesWithAnError);
    EXPECT_LE(errors, 1);
  }
};

void addProducers(Tasks& tasks, Ledger& ledger, const Stream::Continuation& continuation, auto atEnd) {
  const auto running = std::make_shared<std::atomic<int>>(producers);
  for (int producer = 0; producer < producers; ++producer) {
    tasks.add([&ledger, producer, continuation, running, atEnd]() -> Async<void> {
      for (int i = 0; i < elementsEach; ++i) {
        const int element = producer * elementsEach + i;
        ledger.note(element, continuation.yield(element));
        co_await Task<>::yield();
      }
      if (--*running == 0) atEnd(continuation);
    });
  }
}

Async<void> consume(Ledger* ledger, Stream::AsyncIterator iterator) {
  std::vector<int> last(producers, -1);
  try {
    while (const auto element = co_await iterator.next()) {
      ++ledger->delivered[static_cast<std::size_t>(*element)];
      int& previous = last[static_cast<std::size_t>(*element / elementsEach)];
      EXPECT_LT(previous, *element) << "one producer's elements came out of order";
      previous = *element;
      co_await Task<>::yield();
    }
  } catch (const std::runtime_error&) {
    ++ledger->errors;
  }
}

/// Takes what nobody has taken.
void drain(Tasks& tasks, Ledger& ledger, const Stream& stream) {
  tasks.add([&ledger, iterator = stream.makeAsyncIterator()] { return consume(&ledger, iterator); });
  tasks.add([&ledger, iterator = stream.makeAsyncIterator()] { return consume(&ledger, iterator); });
  tasks.wait();
}

BufferingPolicy policyOf(int number) {
  switch (number) {
    case 0:
      return BufferingPolicy::unbounded();
    case 1:
      return BufferingPolicy::oldest(2);
    case 2:
      return BufferingPolicy::newest(2);
    default:
      return BufferingPolicy::newest(0);
  }
}

const auto finishNormally = [](const Stream::Continuation& continuation) { continuation.finish(); };
const auto finishWithAnError = [](const Stream::Continuation& continuation) {
  continuation.finish(std::runtime_error("disk full"));
};

void deliverEachElementOnce(Tasks& tasks) {
  Ledger ledger;
  auto [stream, continuation] = Stream::makeStream(policyOf(tasks.random(4)));
  continuation.setOnTermination([&](const StreamTermination& termination) { ledger.note(termination); });
  for (int i = 0; i < consumers; ++i) {
    tasks.add([&ledger, iterator = stream.makeAsyncIterator()] { return consume(&ledger, iterator); });
  }
  addProducers(tasks, ledger, continuation, finishNormally);
  tasks.wait();
  ledger.check();
  EXPECT_EQ(ledger.finishes, 1);
  for (const auto& terminated : ledger.terminated) EXPECT_EQ(terminated, 0);
}

void deliverTheErrorOnce(Tasks& tasks) {
  Ledger ledger;
  auto [stream, continuation] = Stream::makeStream();
  continuation.setOnTermination([&](const StreamTermination& termination) { ledger.note(termination); });
  for (int i = 0; i < consumers; ++i) {
    tasks.add([&ledger, iterator = stream.makeAsyncIterator()] { return consume(&ledger, iterator); });
  }
  addProducers(tasks, ledger, continuation, finishWithAnError);
  tasks.wait();
  ledger.check();
  EXPECT_EQ(ledger.errors, 1);
}

void cancelOneConsumer(Tasks& tasks) {
  Ledger ledger;
  auto [stream, continuation] = Stream::makeStream(policyOf(tasks.random(4)));
  continuation.setOnTermination([&](const StreamTermination& termination) { ledger.note(termination); });
  std::vector<Task<>> running;
  for (int i = 0; i < consumers; ++i) {
    running.push_back(
        tasks.add([&ledger, iterator = stream.makeAsyncIterator()] { return consume(&ledger, iterator); }));
  }
  addProducers(tasks, ledger, continuation, tasks.random(2) == 0 ? finishNormally : +finishWithAnError);
  const int pauses = tasks.random(12);
  tasks.add([victim = running[0], pauses]() -> Async<void> {
    co_await pause(pauses);
    victim.cancel();
  });
  tasks.wait();
  drain(tasks, ledger, stream);
  ledger.check();
}

void cancelEveryConsumerWhileOthersFinish(Tasks& tasks) {
  Ledger ledger;
  auto [stream, continuation] = Stream::makeStream();
  continuation.setOnTermination([&](const StreamTermination& termination) { ledger.note(termination); });
  for (int i = 0; i < consumers; ++i) {
    const Task<> victim =
        tasks.add([&ledger, iterator = stream.makeAsyncIterator()] { return consume(&ledger, iterator); });
    const int pauses = tasks.random(8);
    tasks.add([victim, pauses]() -> Async<void> {
      co_await pause(pauses);
      victim.cancel();
    });
    const int pausesToFinish = tasks.random(8);
    tasks.add([continuation = continuation, pausesToFinish]() -> Async<void> {
      co_await pause(pausesToFinish);
      finishWithAnError(continuation);
    });
  }
  addProducers(tasks, ledger, continuation, finishNormally);
  tasks.wait();
  drain(tasks, ledger, stream);
  ledger.check();
}

/// The error that a handler of a cancellation finishes with reaches one consumer.
void finishInsideTheHandlerOfACancellation(Tasks& tasks) {
  Ledger ledger;
  auto [stream, continuation] = Stream::makeStream();
  continuation.setOnTermination([&ledger, continuation = continuation](const StreamTermination& termination) {
    ledger.note(termination);
    if (termination.kind != StreamTermination::Kind::cancelled) return;
    EXPECT_EQ(continuation.yield(0).kind, YieldResultKind::terminated);
    ++ledger.finishesWithAnError;
    finishWithAnError(continuation);
  });
  for (int i = 0; i < consumers; ++i) {
    const Task<> victim =
        tasks.add([&ledger, iterator = stream.makeAsyncIterator()] { return consume(&ledger, iterator); });
    const int pauses = tasks.random(8);
    tasks.add([victim, pauses]() -> Async<void> {
      co_await pause(pauses);
      victim.cancel();
    });
  }
  addProducers(tasks, ledger, continuation, [](const Stream::Continuation&) {});
  tasks.wait();
  drain(tasks, ledger, stream);
  ledger.check();
  EXPECT_EQ(ledger.errors, 1);
}

/// Counts how many there are.
struct Counted {
  explicit Counted(std::atomic<int>& alive) : alive(&alive) { ++alive; }
  Counted(const Counted& other) : alive(other.alive) { ++*alive; }
  Counted& operator=(const Counted&) = delete;
  ~Counted() { --*alive; }
  std::atomic<int>* alive;
};

/// The stream, its iterators and its continuations go in any order, with elements left, waiters, and a handler that
/// holds a continuation.
void dropEverythingInAnyOrder(Tasks& tasks) {
  using Elements = AsyncThrowingStream<Counted>;
  std::atomic<int> alive{0};
  std::atomic<int> terminations{0};
  {
    auto made = Elements::makeStream(policyOf(tasks.random(4)));
    const bool holdsItself = tasks.random(2) == 0;
    made.continuation.setOnTermination(
        [&, self = holdsItself ? std::optional(made.continuation) : std::nullopt](const StreamTermination&) {
          ++terminations;
          if (self) static_cast<void>(self->yield(Counted(alive)));
        });
    for (int i = 0; i < 3; ++i) {
      const int pauses = tasks.random(6);
      tasks.add([&alive, pauses, continuation = made.continuation]() -> Async<void> {
        for (int i = 0; i < pauses; ++i) {
          static_cast<void>(continuation.yield(Counted(alive)));
          co_await Task<>::yield();
        }
      });
    }
    for (int i = 0; i < 2; ++i) {
      const Task<> consumer =
          tasks.add([iterator = std::optional(made.stream.makeAsyncIterator())]() mutable -> Async<void> {
            for (int i = 0; i < 3; ++i) {
              if (!co_await iterator->next()) break;
            }
            iterator.reset();
            co_await Task<>::yield();
          });
      const int pauses = tasks.random(10);
      tasks.add([consumer, pauses]() -> Async<void> {
        co_await pause(pauses);
        consumer.cancel();
      });
    }
    const int pauses = tasks.random(6);
    tasks.add([pauses, stream = std::optional(std::move(made.stream))]() mutable -> Async<void> {
      co_await pause(pauses);
      stream.reset();
    });
  }
  tasks.wait();
  EXPECT_EQ(alive, 0);
  EXPECT_EQ(terminations, 1);
}

/// Handlers are set, replaced and read while the stream ends.
void replaceTheHandlerWhileTheStreamEnds(Tasks& tasks) {
  std::atomic<int> calls{0};
  auto [stream, continuation] = Stream::makeStream();
  const auto handler = [&](const StreamTermination&) { ++calls; };
  continuation.setOnTermination(handler);
  for (int i = 0; i < 3; ++i) {
    tasks.add([&handler, continuation = continuation]() -> Async<void> {
      for (int i = 0; i < 3; ++i) {
        continuation.setOnTermination(handler);
        co_await Task<>::yield();
        static_cast<void>(continuation.onTermination());
      }
    });
  }
  const int pauses = tasks.random(6);
  tasks.add([continuation = continuation, pauses]() -> Async<void> {
    co_await pause(pauses);
    continuation.finish();
  });
  tasks.wait();
  EXPECT_EQ(calls, 1);
}

TEST(AsyncStreamIterator, DeliversEachElementOnceInEveryOrderOfSteps) {
  holdsInEveryOrderOfSteps(deliverEachElementOnce);
}
TEST(AsyncStreamIterator, DeliversEachElementOnceOnManyThreads) { holdsOnManyThreads(deliverEachElementOnce); }

TEST(AsyncStreamIterator, DeliversAnErrorOnceInEveryOrderOfSteps) { holdsInEveryOrderOfSteps(deliverTheErrorOnce); }
TEST(AsyncStreamIterator, DeliversAnErrorOnceOnManyThreads) { holdsOnManyThreads(deliverTheErrorOnce); }

TEST(AsyncStreamIterator, EndsForAllWhenOneConsumerIsCancelledInEveryOrderOfSteps) {
  holdsInEveryOrderOfSteps(cancelOneConsumer);
}
TEST(AsyncStreamIterator, EndsForAllWhenOneConsumerIsCancelledOnManyThreads) { holdsOnManyThreads(cancelOneConsumer); }

TEST(AsyncStreamIterator, EndsOnceWhenConsumersAreCancelledAndProducersFinishInEveryOrderOfSteps) {
  holdsInEveryOrderOfSteps(cancelEveryConsumerWhileOthersFinish);
}
TEST(AsyncStreamIterator, EndsOnceWhenConsumersAreCancelledAndProducersFinishOnManyThreads) {
  holdsOnManyThreads(cancelEveryConsumerWhileOthersFinish);
}

TEST(AsyncStreamIterator, DeliversOnceTheErrorOfAHandlerInEveryOrderOfSteps) {
  holdsInEveryOrderOfSteps(finishInsideTheHandlerOfACancellation);
}
TEST(AsyncStreamIterator, DeliversOnceTheErrorOfAHandlerOnManyThreads) {
  holdsOnManyThreads(finishInsideTheHandlerOfACancellation);
}

TEST(AsyncStreamIterator, IsFreedInAnyOrderOfItsHoldersInEveryOrderOfSteps) {
  holdsInEveryOrderOfSteps(dropEverythingInAnyOrder);
}
TEST(AsyncStreamIterator, IsFreedInAnyOrderOfItsHoldersOnManyThreads) { holdsOnManyThreads(dropEverythingInAnyOrder); }

TEST(AsyncStreamIterator, CallsOneHandlerWhileTheyAreReplacedInEveryOrderOfSteps) {
  holdsInEveryOrderOfSteps(replaceTheHandlerWhileTheStreamEnds);
}
TEST(AsyncStreamIterator, CallsOneHandlerWhileTheyAreReplacedOnManyThreads) {
  holdsOnManyThreads(replaceTheHandlerWhileTheStreamEnds);
}

// Races between threads that nothing schedules.

TEST(AsyncStreamIterator, LosesNoWakeUpBetweenAYieldingThreadAndAConsumerThatIsAboutToWait) {
  constexpr int count = 20'000;
  auto [stream, continuation] = AsyncStream<int>::makeStream();
  std::jthread producer([continuation = continuation] {
    for (int i = 0; i < count; ++i) continuation.yield(i);
    continuation.finish();
  });
  const Task<int> consumer = Task<int>::detached([stream = stream]() -> Async<int> {
    auto iterator = stream.makeAsyncIterator();
    int expected = 0;
    while (const auto element = co_await iterator.next()) {
      EXPECT_EQ(*element, expected);
      ++expected;
    }
    co_return expected;
  });
  EXPECT_EQ(syncWait(consumer.value()), count);
}

TEST(AsyncStreamIterator, LosesNoWakeUpInAPingPongOfTwoStreams) {
  constexpr int rounds = 5'000;
  auto [there, thereEnd] = AsyncStream<int>::makeStream();
  auto [back, backEnd] = AsyncStream<int>::makeStream();
  const Task<> echo = Task<>::detached([there = there, backEnd = backEnd]() -> Async<void> {
    auto iterator = there.makeAsyncIterator();
    while (const auto element = co_await iterator.next()) backEnd.yield(*element);
    backEnd.finish();
  });
  const int answered = syncWait([&]() -> Async<int> {
    auto iterator = back.makeAsyncIterator();
    for (int i = 0; i < rounds; ++i) {
      thereEnd.yield(i);
      EXPECT_EQ(co_await iterator.next(), i);
    }
    thereEnd.finish();
    co_return (co_await iterator.next()).has_value() ? -1 : rounds;
  });
  EXPECT_EQ(answered, rounds);
}

TEST(AsyncStreamIterator, EndsAWaitOnceWhenYieldFinishAndCancelMeet) {
  for (int round = 0; round < repetitions(1'000); ++round) {
    auto [stream, continuation] = Stream::makeStream(BufferingPolicy::oldest(0));
    std::atomic<int> terminations{0};
    continuation.setOnTermination([&](const StreamTermination&) { ++terminations; });
    const auto consumer = Task<int>::detached([iterator = stream.makeAsyncIterator()]() mutable -> Async<int> {
      try {
        const auto element = co_await iterator.next();
        co_return element ? *element : 0;
      } catch (const std::runtime_error&) {
        co_return -1;
      }
    });
    std::latch ready(3);
    YieldResultKind yielded{};
    {
      std::jthread yielding([&] {
        ready.arrive_and_wait();
        yielded = continuation.yield(1).kind;
      });
      std::jthread finishing([&] {
        ready.arrive_and_wait();
        continuation.finish(std::runtime_error("disk full"));
      });
      std::jthread cancelling([&] {
        ready.arrive_and_wait();
        consumer.cancel();
      });
    }
    const int answer = syncWait(consumer.value());
    EXPECT_EQ(answer == 1, yielded == YieldResultKind::enqueued);
    EXPECT_EQ(terminations, 1);
  }
}

TEST(AsyncStreamIterator, FreesAStreamWhoseLastHoldersLetGoOnSeveralThreads) {
  for (int round = 0; round < repetitions(1'000); ++round) {
    std::atomic<int> alive{0};
    std::atomic<int> terminations{0};
    {
      auto made = AsyncStream<Counted>::makeStream();
      made.continuation.setOnTermination([&](const StreamTermination&) { ++terminations; });
      made.continuation.yield(Counted(alive));
      std::latch ready(3);
      std::jthread yielding([&, continuation = made.continuation]() mutable {
        ready.arrive_and_wait();
        continuation.yield(Counted(alive));
        auto last = std::move(continuation);
      });
      std::jthread finishing([&, continuation = made.continuation]() mutable {
        ready.arrive_and_wait();
        continuation.finish();
        auto last = std::move(continuation);
      });
      std::jthread dropping([&, stream = std::move(made.stream)]() mutable {
        ready.arrive_and_wait();
        auto last = std::move(stream);
      });
      auto last = std::move(made.continuation);
    }
    EXPECT_EQ(alive, 0);
    EXPECT_EQ(terminations, 1);
  }
}

TEST(AsyncStreamIterator, WaitsForAHandlerOfACancellationThatRunsOnAnotherThread) {
  for (int round = 0; round < repetitions(500); ++round) {
    std::atomic<bool> isInHandler{false};
    auto [stream, continuation] = AsyncStream<int>::makeStream();
    std::latch entered(1);
    continuation.setOnTermination([&](const StreamTermination&) {
      isInHandler = true;
      entered.count_down();
      std::this_thread::yield();
      isInHandler = false;
    });
    const auto consumer = Task<bool>::detached([&, iterator = stream.makeAsyncIterator()]() mutable -> Async<bool> {
      const bool hasEnded = !co_await iterator.next();
      co_return hasEnded && !isInHandler;
    });
    std::jthread cancelling([&] { consumer.cancel(); });
    entered.wait();
    EXPECT_TRUE(syncWait(consumer.value()));
  }
}

}  // namespace
}  // namespace Tessaly
