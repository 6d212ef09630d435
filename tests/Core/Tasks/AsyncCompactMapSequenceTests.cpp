// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <concepts>
#include <optional>
#include <stdexcept>
#include <string>

#include "Tessaly/Core/Tasks/AsyncCompactMapSequence.hpp"
#include "tests/Core/Tasks/Streams.hpp"

namespace Tessaly {
namespace {

using Tests::answerOf;
using Tests::answersOf;
using Tests::Request;
using Tests::streamOf;

std::optional<std::string> evenText(int number) {
  return number % 2 == 0 ? std::optional(std::to_string(number)) : std::nullopt;
}

TEST(AsyncCompactMapSequence, LeavesOutWhatTheTransformMakesNothingOf) {
  const auto sequence = compactMap(streamOf({1, 2, 3, 4, 5}), evenText);
  static_assert(std::same_as<decltype(sequence)::Element, std::string>);
  auto iterator = sequence.makeAsyncIterator();
  EXPECT_EQ(answersOf(iterator), "2 4 end");
}

TEST(AsyncCompactMapSequence, AwaitsATransformThatIsAsynchronous) {
  const auto sequence = compactMap(streamOf({1, 2, 3, 4}), [](int number) -> Async<std::optional<std::string>> {
    co_await Task<>::yield();
    co_return evenText(number);
  });
  static_assert(std::same_as<decltype(sequence)::Element, std::string>);
  auto iterator = sequence.makeAsyncIterator();
  EXPECT_EQ(answersOf(iterator), "2 4 end");
}

TEST(AsyncCompactMapSequence, EndsWhenNothingIsLeft) {
  auto iterator = compactMap(streamOf({1, 3}), evenText).makeAsyncIterator();
  EXPECT_EQ(answersOf(iterator), "end");
}

TEST(AsyncCompactMapSequence, WaitsThroughWhatItLeavesOut) {
  auto [stream, continuation] = AsyncStream<int>::makeStream();
  const Request consumer(compactMap(stream, evenText).makeAsyncIterator());
  EXPECT_EQ(consumer.answer(), "waiting");
  continuation.yield(1);
  EXPECT_EQ(consumer.answer(), "waiting");
  continuation.yield(2);
  EXPECT_EQ(consumer.answer(), "2");
}

TEST(AsyncCompactMapSequence, ThrowsAfterWhatItLeftOut) {
  auto iterator = throwingCompactMap(streamOf({1, 2, 3, 4}), [](int number) {
                    if (number == 3) throw std::runtime_error("three");
                    return evenText(number);
                  }).makeAsyncIterator();
  EXPECT_EQ(answersOf(iterator), "2 error: three");
  EXPECT_EQ(answersOf(iterator), "end");
}

}  // namespace
}  // namespace Tessaly
