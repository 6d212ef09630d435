// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <forward_list>
#include <iterator>
#include <memory>
#include <ranges>
#include <stdexcept>
#include <string>
#include <vector>

#include "Tessaly/Core/Foundation/NSOrderedSet.hpp"

namespace {

using namespace Tessaly;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

using Letters = NSOrderedSet<std::string>;

static_assert(std::ranges::random_access_range<Letters>);
static_assert(std::ranges::sized_range<Letters>);
static_assert(std::ranges::common_range<Letters>);

TEST(NSOrderedSet, KeepsTheOrderAndTheFirstOfEqualElements) {
  const Letters letters{"B", "A", "C", "A", "B"};
  EXPECT_THAT(letters, ElementsAre("B", "A", "C"));
  EXPECT_EQ(letters.count(), 3);
  EXPECT_FALSE(letters.isEmpty());
}

TEST(NSOrderedSet, AcceptsAnyRange) {
  const std::vector<std::string> words{"x", "y", "x"};
  EXPECT_THAT(Letters(words), ElementsAre("x", "y"));
  EXPECT_THAT(NSOrderedSet(words), ElementsAre("x", "y"));
  EXPECT_THAT(NSOrderedSet(std::views::iota(3, 6)), ElementsAre(3, 4, 5));
  EXPECT_THAT(Letters(std::forward_list<const char*>{"p", "q", "p"}), ElementsAre("p", "q"));
  EXPECT_THAT(Letters(), IsEmpty());
  EXPECT_THAT(Letters(std::vector<std::string>{}), IsEmpty());
}

TEST(NSOrderedSet, FindsItsElements) {
  const Letters letters{"B", "A", "C"};
  EXPECT_TRUE(letters.contains("A"));
  EXPECT_FALSE(letters.contains("D"));
  EXPECT_EQ(letters.index("C"), 2);
  EXPECT_EQ(letters.index("D"), NSNotFound);
  EXPECT_EQ(letters.object(0), "B");
  EXPECT_EQ(letters[1], "A");
  EXPECT_FALSE(Letters().contains("A"));
  EXPECT_EQ(Letters().index("A"), NSNotFound);
}

TEST(NSOrderedSet, InvalidIndexThrows) {
  const Letters letters{"B", "A", "C"};
  EXPECT_THROW(static_cast<void>(letters.object(3)), std::out_of_range);
  EXPECT_THROW(static_cast<void>(letters.object(-1)), std::out_of_range);
  try {
    static_cast<void>(Letters().object(0));
    FAIL();
  } catch (const std::out_of_range& error) {
    EXPECT_STREQ(error.what(), "The index 0 is out of the bounds of 0 elements");
  }
}

TEST(NSOrderedSet, HoldsObjectsByIdentity) {
  class Row final : public Object {};
  const std::shared_ptr<Object> first = std::make_shared<Row>();
  const std::shared_ptr<Object> second = std::make_shared<Row>();
  const NSOrderedSet<> rows{first, second, first};
  EXPECT_THAT(rows, ElementsAre(first, second));
  EXPECT_FALSE(rows.contains(std::make_shared<Row>()));
}

TEST(NSOrderedSet, EqualityComparesElementsAndOrder) {
  const Letters letters{"B", "A", "C"};
  const Letters copy = letters;
  EXPECT_EQ(letters, copy);
  EXPECT_EQ(letters, (Letters{"B", "A", "C"}));
  EXPECT_NE(letters, (Letters{"A", "B", "C"}));
  EXPECT_NE(letters, (Letters{"B", "A"}));
  EXPECT_EQ(Letters(), Letters(std::vector<std::string>{}));
}

TEST(NSOrderedSet, IteratesLikeAnyRandomAccessRange) {
  const Letters letters{"B", "A", "C"};
  auto iterator = letters.begin();
  EXPECT_EQ(iterator[2], "C");
  EXPECT_EQ(iterator->size(), 1u);
  EXPECT_EQ(*(iterator++), "B");
  EXPECT_EQ(*iterator--, "A");
  EXPECT_EQ(*(iterator + 2), "C");
  EXPECT_EQ(*(2 + iterator), "C");
  EXPECT_EQ(letters.end() - iterator, 3);
  EXPECT_LT(iterator, letters.end());
  EXPECT_THAT(std::vector(std::make_reverse_iterator(letters.end()), std::make_reverse_iterator(letters.begin())),
              ElementsAre("C", "A", "B"));
}

TEST(NSOrderedSet, HoldsManyElementsWithSimilarHashes) {
  struct PoorHash {
    std::size_t operator()(int value) const { return static_cast<std::size_t>(value % 3) << 40; }
  };
  const auto numbers = std::views::iota(0, 700);
  const NSOrderedSet<int, PoorHash> set(numbers);
  EXPECT_TRUE(std::ranges::equal(set, numbers));
  for (const int number : numbers) ASSERT_EQ(set.index(number), number);
  EXPECT_FALSE(set.contains(700));
}

TEST(NSOrderedSet, HashesOfSimilarNumbersSpread) {
  // Multiples of a large power of two, which resemble pointers. A table by the low bits would be one long chain.
  std::vector<std::uint64_t> numbers;
  for (std::uint64_t i = 0; i < 200'000; ++i) numbers.push_back(i << 40);
  const NSOrderedSet<std::uint64_t> set(numbers);
  EXPECT_EQ(set.count(), 200'000);
  for (const std::uint64_t number : numbers) ASSERT_TRUE(set.contains(number));
}

TEST(OrderedSetMoveError, IsALocalisedError) {
  const NSOrderedSet<>::MoveError error("Cannot move all items");
  EXPECT_EQ(error.errorDescription, "Cannot move all items");
  EXPECT_EQ(error.localizedDescription(), "Cannot move all items");
  EXPECT_EQ(error.description(), "MoveError(errorDescription: \"Cannot move all items\")");
  EXPECT_EQ(error.domain(), "Tessaly.NSOrderedSet.MoveError");
  EXPECT_EQ(error.code(), 1);
  EXPECT_EQ(error.failureReason(), std::nullopt);
  EXPECT_EQ(error.recoverySuggestion(), std::nullopt);
  EXPECT_EQ(error.helpAnchor(), std::nullopt);
  EXPECT_EQ(error, Letters::MoveError("Cannot move all items"));
}

}  // namespace
