// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <concepts>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "Tessaly/Core/Tasks/AsyncMapSequence.hpp"
#include "tests/Core/Tasks/Streams.hpp"

namespace Tessaly {
namespace {

using Tests::answersOf;
using Tests::settle;
using Tests::start;
using Tests::streamOf;

TEST(AsyncMapSequence, GivesWhatTheTransformGivesOrAwaits) {
  const auto words = [](int number) { return std::string(static_cast<std::size_t>(number), 'a'); };
  const auto plain = map(streamOf({1, 2, 3}), words);
  static_assert(std::same_as<decltype(plain)::Element, std::string>);
  auto iterator = plain.makeAsyncIterator();
  EXPECT_EQ(answersOf(iterator), "a aa aaa end");
  const auto async =
      map(streamOf({1, 2, 3}), [](int number) -> Async<std::string> { co_return Tests::textOf(-number); });
  static_assert(std::same_as<decltype(async)::Element, std::string>);
  auto second = async.makeAsyncIterator();
  EXPECT_EQ(answersOf(second), "-1 -2 -3 end");
}

TEST(AsyncMapSequence, KeepsAnEmptyElementApartFromTheEnd) {
  const auto sequence =
      map(streamOf({1, 2}), [](int number) { return number == 1 ? std::optional<int>() : std::optional(number); });
  static_assert(std::same_as<decltype(sequence)::Element, std::optional<int>>);
  int elements = 0;
  int empty = 0;
  start([&]() -> Async<void> {
    auto iterator = sequence.makeAsyncIterator();
    while (const auto element = co_await iterator.next()) {
      ++elements;
      if (!*element) ++empty;
    }
  });
  settle();
  EXPECT_EQ(elements, 2);
  EXPECT_EQ(empty, 1);
}

TEST(AsyncMapSequence, MovesElementsIntoTheTransformAndOut) {
  auto [stream, continuation] = AsyncStream<std::unique_ptr<int>>::makeStream();
  continuation.yield(std::make_unique<int>(20));
  continuation.finish();
  auto iterator = map(stream, [](std::unique_ptr<int> number) {
                    *number += 1;
                    return number;
                  }).makeAsyncIterator();
  EXPECT_EQ(answersOf(iterator), "21 end");
}

TEST(AsyncMapSequence, KeepsAnElementThatTheTransformTakesByReferenceUntilItIsDone) {
  auto iterator = map(streamOf<std::string>({std::string(50, 'a')}), [](std::string&& text) -> Async<std::string> {
                    co_await Task<>::yield();
                    co_return text + "b";
                  }).makeAsyncIterator();
  EXPECT_EQ(answersOf(iterator), std::string(50, 'a') + "b end");
}

TEST(AsyncMapSequence, ComposesInAnyDepth) {
  const auto increment = [](int number) { return number + 1; };
  auto iterator = map(throwingMap(map(streamOf({1, 2}), increment), increment), increment).makeAsyncIterator();
  EXPECT_EQ(answersOf(iterator), "4 5 end");
}

struct Song {
  std::string name;
  [[nodiscard]] std::string loudName() const { return name + "!"; }
};

TEST(AsyncMapSequence, TakesMembersAsTransforms) {
  auto names = map(streamOf<Song>({{"One"}, {"Two"}}), &Song::name).makeAsyncIterator();
  EXPECT_EQ(answersOf(names), "One Two end");
  auto loudNames = map(streamOf<Song>({{"One"}}), &Song::loudName).makeAsyncIterator();
  EXPECT_EQ(answersOf(loudNames), "One! end");
}

}  // namespace
}  // namespace Tessaly
