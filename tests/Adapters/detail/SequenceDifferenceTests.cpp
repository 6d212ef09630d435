// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <numeric>
#include <random>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "Tessaly/Adapters/detail/SequenceDifference.hpp"

namespace Tessaly::detail {
namespace {

using Kind = SequenceStep::Kind;
using Numbers = std::vector<int>;
using Steps = std::vector<SequenceStep>;

template <typename Element = int, typename Identity = std::identity>
Steps steps(const std::vector<Element>& before, const std::vector<Element>& after, Identity identity = {}) {
  return stepsBetween(std::span<const Element>(before), std::span<const Element>(after), identity);
}

/// Takes the steps one by one, as the comment of `SequenceStep` describes them.
Numbers taken(Numbers numbers, const Steps& steps, const Numbers& after) {
  for (const SequenceStep& step : steps) {
    const auto first = numbers.begin() + static_cast<std::ptrdiff_t>(step.first);
    const auto end = first + static_cast<std::ptrdiff_t>(step.kind == Kind::insertion ? 0 : step.count);
    const Numbers block(first, end);
    EXPECT_GT(step.count, 0U);
    if (step.kind == Kind::rearrangement) {
      EXPECT_EQ(step.order.size(), step.count);
      for (std::size_t i = 0; i < step.count; ++i) first[static_cast<std::ptrdiff_t>(i)] = block[step.order[i]];
      continue;
    }
    numbers.erase(first, end);
    if (step.kind == Kind::move) {
      numbers.insert(numbers.begin() + static_cast<std::ptrdiff_t>(step.to), block.begin(), block.end());
    }
    if (step.kind == Kind::insertion) {
      EXPECT_EQ(step.order.size(), step.count);
      Numbers added;
      for (const std::size_t row : step.order) added.push_back(after[row]);
      numbers.insert(numbers.begin() + static_cast<std::ptrdiff_t>(step.first), added.begin(), added.end());
    }
  }
  return numbers;
}

Numbers upTo(int count) {
  Numbers numbers(static_cast<std::size_t>(count));
  std::iota(numbers.begin(), numbers.end(), 0);
  return numbers;
}

TEST(SequenceDifference, EqualSequencesNeedNoStep) {
  EXPECT_EQ(steps<int>({}, {}), Steps());
  EXPECT_EQ(steps(upTo(9), upTo(9)), Steps());
}

TEST(SequenceDifference, AppendedRunIsOneInsertion) {
  EXPECT_EQ(steps(upTo(3), upTo(6)), (Steps{{.kind = Kind::insertion, .first = 3, .count = 3, .order = {3, 4, 5}}}));
}

TEST(SequenceDifference, RemovedRunIsOneRemoval) {
  EXPECT_EQ(steps<int>({0, 1, 2, 3, 4}, {0, 1, 4}), (Steps{{.kind = Kind::removal, .first = 2, .count = 2}}));
}

TEST(SequenceDifference, MovedBlockIsOneMove) {
  EXPECT_EQ(steps<int>({0, 1, 2, 3, 4, 5}, {0, 3, 4, 5, 1, 2}),
            (Steps{{.kind = Kind::move, .first = 1, .count = 2, .to = 4}}));
  EXPECT_EQ(steps<int>({0, 1, 2, 3, 4, 5}, {4, 5, 0, 1, 2, 3}),
            (Steps{{.kind = Kind::move, .first = 4, .count = 2, .to = 0}}));
}

TEST(SequenceDifference, ReplacementOfEverythingIsOneRemovalAndOneInsertion) {
  EXPECT_EQ(steps<int>({0, 1}, {2, 3}), (Steps{{.kind = Kind::removal, .first = 0, .count = 2},
                                               {.kind = Kind::insertion, .first = 0, .count = 2, .order = {0, 1}}}));
}

TEST(SequenceDifference, EqualElementsAreMatchedInTheirOrder) {
  EXPECT_EQ(steps<int>({7, 1, 7, 2, 7}, {7, 1, 2, 7}), (Steps{{.kind = Kind::removal, .first = 2, .count = 1}}));
  EXPECT_EQ(steps<int>({7, 7}, {7, 7, 7}), (Steps{{.kind = Kind::insertion, .first = 2, .count = 1, .order = {2}}}));
}

TEST(SequenceDifference, RandomChangesLeadToTheNewSequence) {
  std::mt19937 random(7);
  for (int round = 0; round < 2'000; ++round) {
    Numbers before = upTo(static_cast<int>(random() % 120));
    for (int& number : before) {
      if (random() % 40 == 0) number = static_cast<int>(random() % 5);
    }
    Numbers after = before;
    const unsigned changes = round % 3 == 0 ? 3 : 60;
    for (unsigned i = random() % changes; i > 0; --i) {
      const auto at = [&] { return after.begin() + static_cast<std::ptrdiff_t>(random() % (after.size() + 1)); };
      auto first = at();
      auto end = at();
      if (end < first) std::swap(first, end);
      switch (random() % 4) {
        case 0:
          if (end - first < 6) after.erase(first, end);
          break;
        case 1:
          after.insert(first, static_cast<int>(1'000 + random() % 100));
          break;
        case 2:
          std::rotate(first, first + (end - first) / 2, end);
          break;
        default:
          if (round % 7 == 0) std::shuffle(first, end, random);
      }
    }
    const Steps all = steps(before, after);
    ASSERT_EQ(taken(before, all, after), after) << "round " << round;
    for (const Kind kind : {Kind::removal, Kind::move, Kind::insertion}) {
      ASSERT_LE(static_cast<std::size_t>(std::ranges::count(all, kind, &SequenceStep::kind)), SequenceSteps::limit);
    }
    ASSERT_LE(std::ranges::count(all, Kind::rearrangement, &SequenceStep::kind), 3);
  }
}

TEST(SequenceDifference, NewPointersAreMatchedByIdentity) {
  std::vector<std::shared_ptr<const int>> before;
  std::vector<std::shared_ptr<const int>> after;
  for (int number = 0; number < 100; ++number) {
    before.push_back(std::make_shared<const int>(number));
    after.push_back(number % 2 == 0 ? before.back() : std::make_shared<const int>(number));
  }
  std::rotate(after.begin() + 3, after.begin() + 33, after.end());
  const auto value = [](const std::shared_ptr<const int>& element) { return *element; };
  EXPECT_EQ(steps(before, after, value), (Steps{{.kind = Kind::move, .first = 3, .count = 30, .to = 70}}));
}

TEST(SequenceDifference, ManyChangesTakeFewSteps) {
  Numbers odd;
  for (int number = 1; number < 100'000; number += 2) odd.push_back(number);
  const Numbers all = upTo(100'000);
  for (const auto& [before, after] : {std::pair(all, odd), std::pair(odd, all)}) {
    const Steps few = steps(before, after);
    EXPECT_EQ(few.size(), 2U);
    EXPECT_EQ(taken(before, few, after), after);
  }
  const Numbers reversed(all.rbegin(), all.rend());
  EXPECT_EQ(steps(all, reversed).size(), 1U);
}

TEST(SequenceDifference, FewestRowsMove) {
  Numbers after = upTo(1'000);
  std::rotate(after.begin() + 10, after.begin() + 990, after.end());
  const Steps one = steps(upTo(1'000), after);
  ASSERT_EQ(one.size(), 1U);
  EXPECT_EQ(one[0].kind, Kind::move);
  EXPECT_EQ(one[0].count, 10U);
}

TEST(SequenceDifference, PointersInBothSequencesAreNotHashedByIdentity) {
  struct Counted {
    std::shared_ptr<int> looks;
    int operator()(const std::shared_ptr<const int>& element) const {
      ++*looks;
      return *element;
    }
  };
  std::vector<std::shared_ptr<const int>> before;
  for (int number = 0; number < 1'000; ++number) before.push_back(std::make_shared<const int>(number));
  auto after = before;
  after.insert(after.begin() + 500, std::make_shared<const int>(-1));
  std::rotate(after.begin() + 900, after.begin() + 950, after.end());
  const auto looks = std::make_shared<int>(0);
  EXPECT_EQ(steps(before, after, Counted{looks}).size(), 2U);
  EXPECT_LE(*looks, 5);
}

TEST(SequenceDifference, AFilterMovesNoPointerThatOccursTwice) {
  const auto a = std::make_shared<const int>(0);
  const auto b = std::make_shared<const int>(1);
  const auto c = std::make_shared<const int>(2);
  const std::vector all{a, b, a, c, b};
  const std::vector filtered{b, a, c};
  EXPECT_EQ(steps(all, filtered),
            (Steps{{.kind = Kind::removal, .first = 4, .count = 1}, {.kind = Kind::removal, .first = 0, .count = 1}}));
  EXPECT_EQ(steps(filtered, all), (Steps{{.kind = Kind::insertion, .first = 0, .count = 1, .order = {0}},
                                         {.kind = Kind::insertion, .first = 4, .count = 1, .order = {4}}}));
}

}  // namespace
}  // namespace Tessaly::detail
