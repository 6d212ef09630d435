// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <variant>
#include <vector>

#include "Sequences.hpp"
#include "Tessaly/Concurrency/AsyncSequence+Extensions.hpp"
#include "Tessaly/Core/Tasks/AsyncMapSequence.hpp"

namespace Tessaly {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Tests::answersOf;
using Tests::failingStreamOf;
using Tests::failureOf;
using Tests::resultOf;
using Tests::streamOf;

constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t least = std::numeric_limits<std::int64_t>::min();

TEST(AsyncSequenceExtensions, CollectStopsAtItsLimit) {
  EXPECT_THAT(resultOf(collect(streamOf({1, 2, 3}), 2)), ElementsAre(1, 2));
  EXPECT_THAT(resultOf(collect(streamOf({1}), 2)), ElementsAre(1));
  EXPECT_THAT(resultOf(collect(streamOf<int>({}), 2)), IsEmpty());
  EXPECT_THAT(resultOf(collect(streamOf({1, 2, 3}), 3)), ElementsAre(1, 2, 3));
  EXPECT_THAT(resultOf(collect(streamOf({1, 2, 3}), 1)), ElementsAre(1));
}

TEST(AsyncSequenceExtensions, CollectWithALimitBelowOneTakesAll) {
  for (const std::int64_t limit : {std::int64_t{0}, std::int64_t{-1}, least}) {
    EXPECT_THAT(resultOf(collect(streamOf({1, 2, 3}), limit)), ElementsAre(1, 2, 3));
    EXPECT_THAT(resultOf(isolatedCollect(streamOf({1, 2, 3}), limit, Isolation())), ElementsAre(1, 2, 3));
  }
}

TEST(AsyncSequenceExtensions, CollectTakesALimitWithoutBounds) {
  EXPECT_THAT(resultOf(collect(streamOf({1, 2, 3}), most)), ElementsAre(1, 2, 3));
}

TEST(AsyncSequenceExtensions, CollectDoesNotConsumeTheRest) {
  int reads = 0;
  const auto numbers = map(streamOf({1, 2, 3, 4}), [&](int number) {
    ++reads;
    return number;
  });
  EXPECT_THAT(resultOf(collect(numbers, 2)), ElementsAre(1, 2));
  EXPECT_EQ(reads, 2);
}

TEST(AsyncSequenceExtensions, CollectPassesAFailureOn) {
  EXPECT_EQ(failureOf(collect(failingStreamOf({1, 2}, "broken"), 3)), "broken");
  EXPECT_EQ(failureOf(isolatedCollect(failingStreamOf({1, 2}, "broken"), 3, Isolation())), "broken");
  EXPECT_THAT(resultOf(collect(failingStreamOf({1, 2}, "broken"), 2)), ElementsAre(1, 2));
}

TEST(AsyncSequenceExtensions, CollectTakesElementsThatCanOnlyBeMoved) {
  auto [stream, continuation] = AsyncStream<std::unique_ptr<int>>::makeStream();
  continuation.yield(std::make_unique<int>(1));
  continuation.finish();
  EXPECT_EQ(*resultOf(collect(stream, 2)).at(0), 1);
}

TEST(AsyncSequenceExtensions, CollectIsCancelledWithItsTask) {
  auto [stream, continuation] = AsyncStream<int>::makeStream();
  continuation.yield(1);
  std::vector<int> collected;
  auto task = Tests::start([&]() -> Async<void> { collected = co_await collect(stream, 5); });
  Tests::settle();
  task.cancel();
  Tests::settle();
  EXPECT_THAT(collected, ElementsAre(1));
}

// The isolation in which each element was made.
TEST(AsyncSequenceExtensions, IsolatedOperationsRunInTheirIsolation) {
  const Isolation isolation = Isolation::serial();
  std::vector<Isolation> seen;
  const auto numbers = map(streamOf({1, 2}), [&](int number) {
    seen.push_back(Isolation::current());
    return number;
  });
  EXPECT_THAT(resultOf(isolatedCollect(numbers, 2, isolation)), ElementsAre(1, 2));
  EXPECT_EQ(resultOf(first(numbers, isolation)), std::nullopt);  // Both are read.
  EXPECT_THAT(seen, ElementsAre(isolation, isolation));
}

TEST(AsyncSequenceExtensions, FirstGivesTheFirstElementOrNone) {
  EXPECT_EQ(resultOf(first(streamOf({1, 2}))), 1);
  EXPECT_EQ(resultOf(first(streamOf<int>({}))), std::nullopt);
  EXPECT_EQ(resultOf(first(streamOf({1, 2}), Isolation::serial())), 1);
  EXPECT_EQ(resultOf(first(streamOf<int>({}), Isolation())), std::nullopt);
}

TEST(AsyncSequenceExtensions, FirstPassesAFailureOn) {
  EXPECT_EQ(failureOf(first(failingStreamOf({}, "broken"))), "broken");
  EXPECT_EQ(failureOf(first(failingStreamOf({}, "broken"), Isolation::serial())), "broken");
  EXPECT_EQ(resultOf(first(failingStreamOf({1}, "broken"))), 1);
}

TEST(AsyncSequenceExtensions, HandleElementShowsEachElementAndPassesItOn) {
  std::vector<int> seen;
  const auto numbers = handleElement(streamOf({1, 2, 3}), [&](int number) { seen.push_back(number); });
  auto iterator = numbers.makeAsyncIterator();
  EXPECT_THAT(seen, IsEmpty());
  EXPECT_EQ(answersOf(iterator), "1 2 3 end");
  EXPECT_THAT(seen, ElementsAre(1, 2, 3));
  static_assert(std::same_as<decltype(numbers)::Element, int> && std::same_as<decltype(numbers)::Failure, Never>);
}

TEST(AsyncSequenceExtensionsDeathTest, ThrowingFunctionStopsTheProcess) {
  EXPECT_EXIT(static_cast<void>(resultOf(first(handleElement(streamOf({1}), [](int) { throw 1; })))),
              testing::KilledBySignal(SIGABRT), "A function that receives elements has thrown");
}

TEST(AsyncSequenceExtensions, DiscardedKeepsTheCountAndNotTheValues) {
  const auto signals = discarded(streamOf<std::string>({"a", "b"}));
  static_assert(std::same_as<decltype(signals)::Element, std::monostate>);
  EXPECT_EQ(resultOf(collect(signals, 0)).size(), 2u);
  EXPECT_EQ(failureOf(collect(discarded(failingStreamOf({1}, "broken")), 0)), "broken");
}

}  // namespace
}  // namespace Tessaly
