// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <list>
#include <map>
#include <random>
#include <ranges>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "Tessaly/FoundationExtensions/Collection+Random.hpp"

namespace {

using namespace Tessaly;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(RandomElements, AreAllInOrderForLargeAmounts) {
  const std::vector<int> three{3, 1, 2};
  EXPECT_THAT(Collection::randomElements(three, 10), ElementsAre(3, 1, 2));
  EXPECT_THAT(Collection::randomElements(three, 3), ElementsAre(3, 1, 2));
  EXPECT_THAT(Collection::randomElements(std::list{3, 1, 2}, 3), ElementsAre(3, 1, 2));
  EXPECT_THAT(Collection::randomElements(std::vector<int>{}, 0), IsEmpty());
  EXPECT_THAT(Collection::randomElements(std::list<int>{}, 4), IsEmpty());
}

TEST(RandomElements, AreTakenFromMapsAndWideIntegers) {
  const std::map<int, std::string> map{{1, "a"}, {2, "b"}, {3, "c"}};
  const auto chosen = Collection::randomElements(map, 2);
  ASSERT_EQ(chosen.size(), 2u);
  for (const auto& [key, value] : chosen) EXPECT_EQ(map.at(key), value);
  EXPECT_NE(chosen[0].first, chosen[1].first);
  EXPECT_EQ(Collection::randomElements(std::views::iota(std::int64_t{0}, std::int64_t{7}), 3).size(), 3u);
}

TEST(RandomElements, AreEmptyForZeroAndNegativeAmounts) {
  EXPECT_THAT(Collection::randomElements(std::vector{1, 2, 3}, 0), IsEmpty());
  EXPECT_THAT(Collection::randomElements(std::vector{1, 2, 3}, -1), IsEmpty());
  EXPECT_THAT(Collection::randomElements(std::list{1, 2, 3}, 0), IsEmpty());
  EXPECT_THAT(Collection::randomElements(std::list{1, 2, 3}, -7), IsEmpty());
}

template <typename Elements>
void expectDistinct(const Elements& elements, std::int64_t amount, std::mt19937& random) {
  const auto chosen = Collection::randomElements(elements, amount, random);
  ASSERT_EQ(chosen.size(), static_cast<std::size_t>(amount));
  const std::set<int> distinct(chosen.begin(), chosen.end());
  ASSERT_EQ(distinct.size(), chosen.size());
  for (const int element : chosen) ASSERT_NE(std::ranges::find(elements, element), elements.end());
}

TEST(RandomElements, AreDistinctElementsOfTheCollection) {
  std::mt19937 random(13);
  for (int round = 0; round < 500; ++round) {
    const int count = 1 + static_cast<int>(random() % 30);
    const auto numbers = std::views::iota(100, 100 + count);
    const auto amount = static_cast<std::int64_t>(random() % static_cast<unsigned>(count));
    ASSERT_NO_FATAL_FAILURE(expectDistinct(std::vector(numbers.begin(), numbers.end()), amount, random));
    ASSERT_NO_FATAL_FAILURE(expectDistinct(std::deque(numbers.begin(), numbers.end()), amount, random));
    ASSERT_NO_FATAL_FAILURE(expectDistinct(std::list(numbers.begin(), numbers.end()), amount, random));
    ASSERT_NO_FATAL_FAILURE(expectDistinct(numbers, amount, random));
  }
}

template <typename Elements>
void expectEveryPairAlike(const Elements& five) {
  std::mt19937 random(5);
  std::map<std::set<int>, int> pairs;
  constexpr int rounds = 20'000;
  for (int round = 0; round < rounds; ++round) {
    const auto chosen = Collection::randomElements(five, 2, random);
    ++pairs[std::set<int>(chosen.begin(), chosen.end())];
  }
  ASSERT_EQ(pairs.size(), 10u);
  // The expectation is 2,000 with a standard deviation of 42.4. Six deviations are 255.
  for (const auto& [pair, count] : pairs) EXPECT_NEAR(count, rounds / 10, 255);
}

TEST(RandomElements, EveryChoiceIsEquallyLikely) {
  expectEveryPairAlike(std::vector{1, 2, 3, 4, 5});
  expectEveryPairAlike(std::list{1, 2, 3, 4, 5});
}

TEST(RandomElements, DifferBetweenCalls) {
  const auto many = std::views::iota(0, 1'000'000);
  EXPECT_NE(Collection::randomElements(many, 10), Collection::randomElements(many, 10));
}

/// Counts the numbers that are drawn.
struct CountingGenerator {
  using result_type = std::mt19937::result_type;
  static constexpr result_type min() { return std::mt19937::min(); }
  static constexpr result_type max() { return std::mt19937::max(); }
  result_type operator()() {
    ++draws;
    return random();
  }
  std::mt19937 random{7};
  std::int64_t draws = 0;
};

TEST(RandomElements, AllButOneTakeOneDrawEach) {
  CountingGenerator random;
  constexpr std::int64_t count = 100'000;
  const auto chosen = Collection::randomElements(std::views::iota(std::int64_t{0}, count), count - 1, random);
  EXPECT_EQ(std::set<std::int64_t>(chosen.begin(), chosen.end()).size(), static_cast<std::size_t>(count - 1));
  // A draw is repeated only if it would favour an index, which happens less than once in a thousand draws.
  EXPECT_LE(random.draws, count + count / 1'000);
}

TEST(RandomElements, EveryElementIsOmittedEquallyOften) {
  std::mt19937 random(3);
  std::vector<int> omissions(5);
  constexpr int rounds = 20'000;
  for (int round = 0; round < rounds; ++round) {
    std::set<int> missing{0, 1, 2, 3, 4};
    for (const int element : Collection::randomElements(std::vector{0, 1, 2, 3, 4}, 4, random)) missing.erase(element);
    ASSERT_EQ(missing.size(), 1U);
    ++omissions[static_cast<std::size_t>(*missing.begin())];
  }
  // The expectation is 4,000 with a standard deviation of 56.6. Six deviations are 340.
  for (const int count : omissions) EXPECT_NEAR(count, rounds / 5, 340);
}

TEST(RandomElements, WorkOnInputRanges) {
  std::istringstream words("one two three");
  EXPECT_THAT(Collection::randomElements(std::views::istream<std::string>(words), 3),
              ElementsAre("one", "two", "three"));
}

}  // namespace
