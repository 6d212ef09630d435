// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <concepts>
#include <string>
#include <vector>

#include "Tessaly/Core/Tasks/AsyncFlatMapSequence.hpp"
#include "Tessaly/Core/Tasks/AsyncMapSequence.hpp"
#include "tests/Core/Tasks/Streams.hpp"

namespace Tessaly {
namespace {

using Tests::answersOf;
using Tests::failingStreamOf;
using Tests::Request;
using Tests::streamOf;

/// As many times the number as it says.
AsyncStream<int> repeated(int number) { return streamOf(std::vector(static_cast<std::size_t>(number), number)); }

TEST(AsyncFlatMapSequence, FollowsOneSequenceAfterTheOther) {
  const auto sequence = flatMap(streamOf({2, 0, 3, 0}), repeated);
  static_assert(std::same_as<decltype(sequence)::Element, int>);
  auto iterator = sequence.makeAsyncIterator();
  EXPECT_EQ(answersOf(iterator), "2 2 3 3 3 end");
  EXPECT_EQ(answersOf(iterator), "end");
}

TEST(AsyncFlatMapSequence, AwaitsATransformThatIsAsynchronous) {
  auto iterator = flatMap(streamOf({1, 2}), [](int number) -> Async<AsyncStream<int>> {
                    co_await Task<>::yield();
                    co_return repeated(number);
                  }).makeAsyncIterator();
  EXPECT_EQ(answersOf(iterator), "1 2 2 end");
}

TEST(AsyncFlatMapSequence, FollowsSequencesOfAnyType) {
  const auto sequence = flatMap(streamOf({1, 2}), [](int number) {
    return map(repeated(number), [](int element) { return "<" + std::to_string(element) + ">"; });
  });
  static_assert(std::same_as<decltype(sequence)::Element, std::string>);
  auto iterator = sequence.makeAsyncIterator();
  EXPECT_EQ(answersOf(iterator), "<1> <2> <2> end");
}

TEST(AsyncFlatMapSequence, HasEndedOnceOneOfTheSequencesHasFailed) {
  auto iterator = throwingFlatMap(streamOf({1, 2}), [](int number) {
                    return failingStreamOf({number}, "torn");
                  }).makeAsyncIterator();
  EXPECT_EQ(answersOf(iterator), "1 error: torn");
  EXPECT_EQ(answersOf(iterator), "end");
}

TEST(AsyncFlatMapSequence, TakesTheNextElementOfTheBaseOnlyWhenTheSequenceHasEnded) {
  auto [outer, outerEnd] = AsyncStream<int>::makeStream();
  auto [inner, innerEnd] = AsyncStream<int>::makeStream();
  int calls = 0;
  const auto sequence = flatMap(outer, [&calls, inner = inner](int) {
    ++calls;
    return inner;
  });
  auto iterator = sequence.makeAsyncIterator();
  outerEnd.yield(1);
  outerEnd.yield(2);
  const Request first(iterator);
  EXPECT_EQ(first.answer(), "waiting");
  EXPECT_EQ(calls, 1);
  innerEnd.yield(7);
  EXPECT_EQ(first.answer(), "7");
  EXPECT_EQ(calls, 1);
  innerEnd.finish();
  outerEnd.finish();
  EXPECT_EQ(answersOf(iterator), "end");
  EXPECT_EQ(calls, 2);
}

TEST(AsyncFlatMapSequence, EndsTheSequenceThatItFollowsWhenTheConsumerIsCancelled) {
  auto [inner, innerEnd] = AsyncStream<int>::makeStream();
  std::string terminations;
  innerEnd.setOnTermination([&](const StreamTermination& termination) { terminations += Tests::textOf(termination); });
  Request consumer(flatMap(streamOf({1}), [inner = inner](int) { return inner; }).makeAsyncIterator());
  EXPECT_EQ(consumer.answer(), "waiting");
  consumer.cancel();
  EXPECT_EQ(terminations, "cancelled");
  EXPECT_EQ(consumer.answer(), "end");
}

}  // namespace
}  // namespace Tessaly
