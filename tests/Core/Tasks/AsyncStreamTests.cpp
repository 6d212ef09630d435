// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <chrono>
#include <concepts>
#include <memory>
#include <optional>
#include <stdexcept>
#include <type_traits>
#include <vector>

#include "Tessaly/Core/Tasks/AsyncMapSequence.hpp"
#include "Tessaly/Core/Tasks/AsyncStream.hpp"
#include "Tessaly/Core/Tasks/SyncWait.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"

namespace Tessaly {
namespace {

template <typename Continuation>
concept CanFail = requires(Continuation continuation) { continuation.finish(std::runtime_error("failed")); };

TEST(AsyncStream, IsASequenceThatCannotFail) {
  static_assert(AsyncSequence<AsyncStream<int>>);
  static_assert(std::same_as<AsyncStream<int>::Element, int>);
  static_assert(std::same_as<AsyncStream<int>::Failure, Never>);
  static_assert(!CanFail<AsyncStream<int>::Continuation>);
  static_assert(!std::is_convertible_v<void (*)(AsyncStream<int>::Continuation), AsyncStream<int>>);
}

TEST(AsyncStream, IsReadInALoopUntilItsEnd) {
  const AsyncStream<int> numbers([](AsyncStream<int>::Continuation continuation) {
    for (int number : {1, 2, 3}) continuation.yield(number);
    continuation.finish();
  });
  std::vector<int> seen;
  syncWait([&]() -> Async<void> {
    auto iterator = numbers.makeAsyncIterator();
    while (auto number = co_await iterator.next()) seen.push_back(*number);
  });
  EXPECT_EQ(seen, (std::vector{1, 2, 3}));
}

TEST(AsyncStream, IsReadThroughAnIteratorThatNobodyElseHolds) {
  const auto numbers = AsyncStream<int>([](auto continuation) { continuation.yield(5); });
  EXPECT_EQ(syncWait([&]() -> Async<int> { co_return *co_await numbers.makeAsyncIterator().next(); }), 5);
}

TEST(AsyncStream, FeedsTheMainThreadFromAnother) {
  auto [stream, continuation] = AsyncStream<int>::makeStream();
  const Task<> producer({.isolation = Isolation()}, [continuation = continuation]() -> Async<void> {
    for (int i = 0; i < 1'000; ++i) {
      continuation.yield(i);
      co_await Task<>::yield();
    }
    continuation.finish();
  });
  const int sum = syncWait([&]() -> Async<int> {
    int sum = 0;
    auto iterator = stream.makeAsyncIterator();
    while (auto number = co_await iterator.next()) {
      EXPECT_EQ(Isolation::current(), Isolation::main());
      sum += *number;
    }
    co_return sum;
  });
  EXPECT_EQ(sum, 499'500);
}

// Handles an element for 10 us, so that 256 elements take longer than the minimum of a turn.
void handleSlowly() {
  const auto end = std::chrono::steady_clock::now() + std::chrono::microseconds(10);
  while (std::chrono::steady_clock::now() < end) {
  }
}

// The number of elements that a consumer on the main queue gets before a job behind it runs.
template <typename Stream>
int elementsBeforeTheNextJob(Stream stream, int limit) {
  int count = 0;
  std::optional<int> countAtJob;
  const Task<> consumer([&, stream = std::move(stream)]() -> Async<void> {
    auto iterator = stream.makeAsyncIterator();
    for (; count < limit; ++count) {
      if (!co_await iterator.next()) break;
      handleSlowly();
    }
  });
  const Task<> job([&] { countAtJob = count; });
  syncWait(consumer.value());
  EXPECT_EQ(count, limit);
  return countAtJob.value_or(limit);
}

TEST(AsyncStream, FullBufferLeavesTheMainThreadTimeForOtherWork) {
  for (const auto policy : {BufferingPolicy::unbounded(), BufferingPolicy::oldest(2'000)}) {
    const AsyncStream<int> stream(policy, [](auto continuation) {
      for (int i = 0; i < 2'000; ++i) continuation.yield(i);
    });
    EXPECT_LE(elementsBeforeTheNextJob(stream, 2'000), 256);
  }
}

TEST(AsyncStream, UnfoldingWithoutAWaitLeavesTheMainThreadTimeForOtherWork) {
  int next = 0;
  const auto stream = AsyncStream<int>::unfolding([&]() -> Async<std::optional<int>> { co_return next++; });
  EXPECT_LE(elementsBeforeTheNextJob(stream, 2'000), 256);
}

TEST(AsyncStream, NewIteratorsAndOperatorsShareTheTurn) {
  const AsyncStream<int> stream([](auto continuation) {
    for (int i = 0; i < 2'000; ++i) continuation.yield(i);
  });
  EXPECT_LE(elementsBeforeTheNextJob(map(stream, [](int number) { return number + 1; }), 1'000), 256);
  int count = 0;
  int countAtJob = -1;
  const Task<> consumer([&]() -> Async<void> {
    for (; count < 1'000; ++count) {
      co_await stream.makeAsyncIterator().next();
      handleSlowly();
    }
  });
  const Task<> job([&] { countAtJob = count; });
  syncWait(consumer.value());
  EXPECT_LE(countAtJob, 256);
}

TEST(AsyncStream, ConsumerCancelledBetweenTurnsGetsItsBufferedElements) {
  const AsyncStream<int> stream([](auto continuation) {
    for (int i = 0; i < 1'000; ++i) continuation.yield(i);
  });
  int sum = 0;
  const Task<> consumer([&]() -> Async<void> {
    auto iterator = stream.makeAsyncIterator();
    while (auto number = co_await iterator.next()) sum += *number;
  });
  MainQueue::drain();
  EXPECT_GT(sum, 0);
  EXPECT_LT(sum, 499'500);
  consumer.cancel();
  syncWait(consumer.value());
  EXPECT_EQ(sum, 499'500);
}

}  // namespace
}  // namespace Tessaly
