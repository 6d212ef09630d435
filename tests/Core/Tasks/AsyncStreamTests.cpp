// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <concepts>
#include <memory>
#include <stdexcept>
#include <type_traits>
#include <vector>

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

}  // namespace
}  // namespace Tessaly
