// SPDX-License-Identifier: MIT
// The kinds of work with streams: several producers, operators, and changes of isolation.

#include <array>
#include <atomic>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Tessaly/Concurrency/AsyncSequence+Extensions.hpp"
#include "Tessaly/Concurrency/AsyncStreams.hpp"
#include "Tessaly/Concurrency/ReducedReplayAsyncStream.hpp"
#include "Tessaly/Core/Tasks/AsyncCompactMapSequence.hpp"
#include "Tessaly/Core/Tasks/AsyncFlatMapSequence.hpp"
#include "Tessaly/Core/Tasks/AsyncMapSequence.hpp"
#include "Tessaly/Core/Tasks/AsyncMergeSequence.hpp"
#include "Tessaly/Core/Tasks/AsyncStream.hpp"
#include "Tessaly/Core/Tasks/AsyncThrowingStream.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"
#include "Tessaly/Core/Tasks/TaskGroup.hpp"
#include "tests/stress/StressWork.hpp"

namespace Tessaly::Tests {
namespace {

constexpr unsigned maximumProducers = 3;

struct Item {
  unsigned producer;
  unsigned number;
  /// An element that is not plain bytes travels in a block of its own.
  std::string text = "longer than a string that needs no memory";
};

/// The elements that the producers of a stream send, and the number of dropped ones.
struct Feed {
  explicit Feed(StressRandom& random, unsigned numberOfFirst = 0)
      : producers(1 + random.below(maximumProducers)),
        first(numberOfFirst),
        each(random.below(24)),
        remaining(producers) {}

  [[nodiscard]] unsigned total() const { return producers * each; }

  const unsigned producers;
  /// The number of the first producer.
  const unsigned first;
  const unsigned each;
  std::atomic<unsigned> remaining;
  std::atomic<unsigned> dropped{0};
};

using Feeds = std::vector<std::shared_ptr<Feed>>;

/// Checks the elements that one consumer gets.
class Received {
 public:
  void take(Round& round, const Item& item) {
    round.expect(item.number >= next_[item.producer], "a stream gave an element twice or out of order");
    next_[item.producer] = item.number + 1;
    ++count_;
  }
  [[nodiscard]] unsigned count() const { return count_; }

 private:
  std::array<unsigned, 2 * maximumProducers> next_{};
  unsigned count_ = 0;
};

TaskOptions optionsFor(const Zone* zone) { return {.isolation = zone != nullptr ? zone->isolation : Isolation()}; }

/// Yields the elements of one producer. The last producer finishes the stream, with the error if it has one.
template <typename Continuation>
Async<void> produce(Context context, const Plan& plan, Continuation continuation, std::shared_ptr<Feed> feed,
                    unsigned producer, std::exception_ptr error) {
  StressRandom random(plan.seed + producer);
  for (unsigned number = 0; number < feed->each; ++number) {
    const auto result = continuation.yield(Item{producer, number});
    if (result.kind == YieldResultKind::dropped) feed->dropped.fetch_add(1, std::memory_order_relaxed);
    if (random.isOneOf(5)) co_await Task<>::yield();
  }
  context.round.step(context, plan);
  if (feed->remaining.fetch_sub(1, std::memory_order_acq_rel) != 1) co_return;
  if constexpr (requires { continuation.finish(error); }) {
    continuation.finish(error);
  } else {
    continuation.finish();
  }
}

/// Starts the producers of a stream as children of a group.
template <typename Continuation>
void addProducers(TaskGroup<>& group, const Context& context, const Plan& plan, const Continuation& continuation,
                  const std::shared_ptr<Feed>& feed, StressRandom& random, const std::exception_ptr& error = nullptr) {
  for (unsigned producer = 0; producer < feed->producers; ++producer) {
    Zone* const zone = context.round.anyZone(random);
    group.addTask(optionsFor(zone), [own = context.in(zone), &plan, continuation, feed, producer, error] {
      return produce(own, plan, continuation, feed, feed->first + producer, error);
    });
  }
}

/// Takes the elements of a sequence until its end, and checks that no element is missing.
template <typename Sequence>
Async<void> consume(Context context, const Plan& plan, Sequence sequence, Feeds feeds) {
  StressRandom random(~plan.seed);
  Received received;
  auto iterator = sequence.makeAsyncIterator();
  const bool hops = random.isOneOf(3);
  const Isolation elsewhere = context.round.exclusiveZone(random).isolation;
  for (;;) {
    std::optional<Item> item;
    if (hops) {
      item = co_await iterator.next(elsewhere);
    } else {
      item = co_await iterator.next();
    }
    context.round.step(context, plan);
    if (!item) break;
    received.take(context.round, *item);
    if (random.isOneOf(8)) co_await Task<>::yield();
  }
  if (Task<>::isCurrentCancelled()) co_return;
  unsigned sent = 0;
  for (const auto& feed : feeds) sent += feed->total() - feed->dropped.load();
  context.round.expect(received.count() == sent, "a stream lost an element");
}

/// Consumes a stream through an operator.
Async<void> consumeByOperator(Context context, const Plan& plan, AsyncStream<Item> stream, Feeds feeds) {
  StressRandom random(plan.seed + 1000);
  if (context.round.breakage == Breakage::lostElement) {
    const auto lose = [](Item item) { return item.number == 3 ? std::nullopt : std::optional<Item>(std::move(item)); };
    co_return co_await consume(context, plan, compactMap(std::move(stream), lose), std::move(feeds));
  }
  switch (random.below(5)) {
    case 0:
      co_return co_await consume(context, plan, std::move(stream), std::move(feeds));
    case 1: {
      const auto pass = [](Item item) -> Async<Item> {
        co_await Task<>::yield();
        co_return item;
      };
      co_return co_await consume(context, plan, map(std::move(stream), pass), std::move(feeds));
    }
    case 2: {
      const auto keep = [](Item item) { return std::optional<Item>(std::move(item)); };
      co_return co_await consume(context, plan, compactMap(std::move(stream), keep), std::move(feeds));
    }
    case 3: {
      const auto one = [](Item item) {
        return AsyncStream<Item>([item = std::move(item)](const AsyncStream<Item>::Continuation& continuation) {
          continuation.yield(item);
          continuation.finish();
        });
      };
      co_return co_await consume(context, plan, flatMap(std::move(stream), one), std::move(feeds));
    }
    default:
      co_return co_await consume(context, plan, handleElement(std::move(stream), [](const Item&) {}), std::move(feeds));
  }
}

BufferingPolicy policyBy(StressRandom& random) {
  switch (random.below(4)) {
    case 0:
      return BufferingPolicy::oldest(random.below(5));
    case 1:
      return BufferingPolicy::newest(random.below(5));
    default:
      return BufferingPolicy::unbounded();
  }
}

}  // namespace

Async<long> runStream(Context context, const Plan& plan) {
  StressRandom random(plan.seed);
  const auto feed = std::make_shared<Feed>(random);
  Zone* const zone = context.round.anyZone(random);
  co_await withTaskGroup<>([&](TaskGroup<>& group) -> Async<void> {
    auto made = AsyncStream<Item>::makeStream(policyBy(random));
    group.addTask(optionsFor(zone), [own = context.in(zone), &plan, feed, stream = std::move(made.stream)] {
      return consumeByOperator(own, plan, stream, {feed});
    });
    addProducers(group, context, plan, made.continuation, feed, random);
    co_await group.waitForAll();
  });
  co_return 0;
}

/// The elements come first, then the error once, then the end.
Async<long> runFailingStream(Context context, const Plan& plan) {
  StressRandom random(plan.seed);
  const auto feed = std::make_shared<Feed>(random);
  const auto consumer = [context, &plan, feed](AsyncThrowingStream<Item> stream) -> Async<void> {
    const auto pass = [](Item item) { return item; };
    auto sequence = throwingMap(std::move(stream), pass);
    Received received;
    unsigned errors = 0;
    auto iterator = sequence.makeAsyncIterator();
    for (bool goesOn = true; goesOn;) {
      try {
        const auto item = co_await iterator.next();
        goesOn = item.has_value();
        if (item) received.take(context.round, *item);
      } catch (const StressError& error) {
        ++errors;
        context.round.expect(error.total == plan.value, "a stream changed its error");
      }
    }
    if (Task<>::isCurrentCancelled()) co_return;
    context.round.expect(errors == 1, "a stream did not give its error once");
    context.round.expect(received.count() == feed->total(), "a failing stream lost an element");
  };
  co_await withTaskGroup<>([&](TaskGroup<>& group) -> Async<void> {
    auto made = AsyncThrowingStream<Item>::makeStream();
    group.addTask([&consumer, stream = std::move(made.stream)] { return consumer(stream); });
    addProducers(group, context, plan, made.continuation, feed, random,
                 std::make_exception_ptr(StressError(plan.value)));
    co_await group.waitForAll();
  });
  co_return 0;
}

Async<long> runMergedStreams(Context context, const Plan& plan) {
  StressRandom random(plan.seed);
  const Feeds feeds{std::make_shared<Feed>(random), std::make_shared<Feed>(random, maximumProducers)};
  Zone* const zone = context.round.anyZone(random);
  co_await withTaskGroup<>([&](TaskGroup<>& group) -> Async<void> {
    auto first = AsyncStream<Item>::makeStream();
    auto second = AsyncStream<Item>::makeStream();
    const auto pass = [](Item item) { return item; };
    group.addTask(optionsFor(zone),
                  [own = context.in(zone), &plan, feeds, merged = merge(first.stream, map(second.stream, pass))] {
                    return consume(own, plan, merged, feeds);
                  });
    addProducers(group, context, plan, first.continuation, feeds[0], random);
    addProducers(group, context, plan, second.continuation, feeds[1], random);
    co_await group.waitForAll();
  });
  co_return 0;
}

namespace {

/// Ends a stream when it is destroyed.
class FinishAtEnd {
 public:
  explicit FinishAtEnd(AsyncStream<long>::Continuation continuation) : continuation_(std::move(continuation)) {}
  ~FinishAtEnd() { continuation_.finish(); }
  FinishAtEnd(const FinishAtEnd&) = delete;
  FinishAtEnd& operator=(const FinishAtEnd&) = delete;

 private:
  const AsyncStream<long>::Continuation continuation_;
};

/// Takes all elements of one subscriber. It delays the end until the subscriber has joined, as the first element shows.
Async<void> subscribe(Context context, const Plan& plan, ReducedReplayAsyncStream<long> shared,
                      std::shared_ptr<FinishAtEnd> end, long elements) {
  auto iterator = shared.makeAsyncIterator();
  long sum = 0;
  while (const auto element = co_await iterator.next()) {
    end.reset();
    sum += *element;
    context.round.step(context, plan);
  }
  if (Task<>::isCurrentCancelled()) co_return;
  context.round.expect(sum == elements * (elements + 1) / 2, "a subscriber lost an element");
}

}  // namespace

/// Every subscriber of a shared stream gets the same sum, whenever it joined.
Async<long> runSharedStream(Context context, const Plan& plan) {
  StressRandom random(plan.seed);
  const unsigned subscribers = 1 + random.below(3);
  const long elements = 1 + random.below(12);
  co_await withTaskGroup<>([&](TaskGroup<>& group) -> Async<void> {
    std::optional<AsyncStream<long>::Continuation> continuation;
    const ReducedReplayAsyncStream<long> shared(
        BufferingPolicy::unbounded(), 0, [](long& sum, const long& element) { sum += element; },
        [&continuation](AsyncStream<long>::Continuation made) { continuation.emplace(std::move(made)); });
    // The producer ends after every subscriber has joined, because a later subscriber would wait for ever.
    auto end = std::make_shared<FinishAtEnd>(*continuation);
    for (unsigned subscriber = 0; subscriber < subscribers; ++subscriber) {
      Zone* const zone = context.round.anyZone(random);
      group.addTask(optionsFor(zone), [own = context.in(zone), &plan, shared, end, elements]() mutable {
        return subscribe(own, plan, std::move(shared), std::move(end), elements);
      });
    }
    for (long element = 1; element <= elements; ++element) {
      continuation->yield(element);
      co_await pause(random);
    }
    end.reset();
    co_await group.waitForAll();
  });
  co_return 0;
}

/// Every listener gets every value that is sent after the listener has subscribed.
Async<long> runBroadcast(Context context, const Plan& plan) {
  StressRandom random(plan.seed);
  const auto feed = std::make_shared<Feed>(random);
  // The order of several listeners is that of their random identifiers.
  const bool isFree = context.round.schedule == Plan::Schedule::free;
  const unsigned listeners = isFree ? 1 + random.below(3) : 1;
  co_await withTaskGroup<>([&](TaskGroup<>& group) -> Async<void> {
    const auto broadcaster = AsyncStreams<Item>::make();
    for (unsigned listener = 0; listener < listeners; ++listener) {
      Zone* const zone = context.round.anyZone(random);
      group.addTask(optionsFor(zone), [own = context.in(zone), &plan, feed, stream = broadcaster->stream()] {
        return consume(own, plan, stream, {feed});
      });
    }
    for (unsigned producer = 0; producer < feed->producers; ++producer) {
      for (unsigned number = 0; number < feed->each; ++number) {
        broadcaster->send(Item{producer, number});
        if (random.isOneOf(4)) co_await pause(random);
      }
    }
    broadcaster->finish();
    co_await group.waitForAll();
  });
  co_return 0;
}

}  // namespace Tessaly::Tests
