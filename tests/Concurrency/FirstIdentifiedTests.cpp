// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "Sequences.hpp"
#include "Tessaly/Concurrency/FirstIdentified.hpp"

namespace Tessaly {
namespace {

using Pairs = std::vector<std::pair<bool, std::string>>;

template <typename Sequence, typename... Arguments>
Async<Pairs> pairsOf(Sequence sequence, Arguments... arguments) {
  Pairs pairs;
  auto iterator = sequence.makeAsyncIterator();
  while (auto pair = co_await iterator.next(arguments...)) pairs.push_back(std::move(*pair));
  EXPECT_EQ(co_await iterator.next(arguments...), std::nullopt);
  co_return pairs;
}

TEST(FirstIdentified, DistinguishesTheFirstElement) {
  const Pairs expected{{true, "a"}, {false, "b"}, {false, "c"}};
  EXPECT_EQ(Tests::resultOf(pairsOf(firstIdentified(Tests::streamOf<std::string>({"a", "b", "c"})))), expected);
  EXPECT_EQ(
      Tests::resultOf(pairsOf(firstIdentified(Tests::streamOf<std::string>({"a", "b", "c"})), Isolation::serial())),
      expected);
}

TEST(FirstIdentified, EmptySequenceGivesNothing) {
  EXPECT_TRUE(Tests::resultOf(pairsOf(firstIdentified(Tests::streamOf<std::string>({})))).empty());
}

TEST(FirstIdentified, EachIteratorHasAFirstElement) {
  const auto numbers = firstIdentified(Tests::streamOf({1, 2}));
  auto first = numbers.makeAsyncIterator();
  auto second = numbers.makeAsyncIterator();
  EXPECT_EQ(Tests::resultOf(first.next()), std::pair(true, 1));
  EXPECT_EQ(Tests::resultOf(second.next()), std::pair(true, 2));
}

TEST(FirstIdentified, PassesAFailureOn) {
  const auto numbers = firstIdentified(Tests::failingStreamOf({1}, "broken"));
  static_assert(std::same_as<decltype(numbers)::Failure, std::exception_ptr>);
  auto iterator = numbers.makeAsyncIterator();
  EXPECT_EQ(Tests::resultOf(iterator.next()), std::pair(true, 1));
  EXPECT_EQ(Tests::failureOf(iterator.next()), "broken");
  auto other = firstIdentified(Tests::failingStreamOf({}, "broken")).makeAsyncIterator();
  EXPECT_EQ(Tests::failureOf(other.next(Isolation::serial())), "broken");
}

}  // namespace
}  // namespace Tessaly
