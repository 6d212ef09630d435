// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <new>
#include <random>
#include <ranges>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "Tessaly/Core/Foundation/NSMutableOrderedSet.hpp"
#include "tests/Support/Allocations.hpp"

namespace {

using namespace Tessaly;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

using Letters = NSMutableOrderedSet<std::string>;

TEST(NSMutableOrderedSet, AddsOnlyNewElements) {
  Letters letters;
  EXPECT_TRUE(letters.add("A"));
  EXPECT_TRUE(letters.add("B"));
  EXPECT_FALSE(letters.add("A"));
  EXPECT_TRUE(letters.insert("C", 0));
  EXPECT_TRUE(letters.insert("D", 3));
  EXPECT_FALSE(letters.insert("D", 0));
  EXPECT_THAT(letters, ElementsAre("C", "A", "B", "D"));
  EXPECT_EQ(letters.index("A"), 1);
}

TEST(NSMutableOrderedSet, AddingAllocatesSeldom) {
  NSMutableOrderedSet<int> numbers;
  EXPECT_LT(Tests::allocationsOf([&] {
              for (int number = 0; number < 10'000; ++number) numbers.add(number);
            }),
            100);
  EXPECT_EQ(numbers.count(), 10'000);
}

TEST(NSMutableOrderedSet, ElementsThatDifferInAnyBitsAreSpread) {
  for (int shift = 0; shift <= 56; ++shift) {
    std::set<std::uint64_t> places;
    for (std::uint64_t number = 0; number < 256; ++number) places.insert(detail::mixedHash(number << shift) % 1024);
    EXPECT_GT(places.size(), 190U) << shift;
  }
}

TEST(NSMutableOrderedSet, RemovesExistingElements) {
  Letters letters{"A", "B", "C", "D"};
  EXPECT_TRUE(letters.remove("B"));
  EXPECT_FALSE(letters.remove("B"));
  letters.removeObjectAt(0);
  EXPECT_THAT(letters, ElementsAre("C", "D"));
  EXPECT_EQ(letters.index("D"), 1);
  EXPECT_FALSE(letters.contains("A"));
  letters.removeAllObjects();
  EXPECT_THAT(letters, IsEmpty());
  EXPECT_TRUE(letters.add("A"));
}

/// An element whose copies fail on request.
struct Fragile {
  explicit Fragile(int value) : number(value) {}
  Fragile(const Fragile& other) : number(other.number) {
    if (isCopyFailing) throw std::bad_alloc();
  }
  Fragile(Fragile&& other) noexcept = default;
  Fragile& operator=(const Fragile&) = default;
  Fragile& operator=(Fragile&&) noexcept = default;
  friend bool operator==(const Fragile&, const Fragile&) = default;

  static inline bool isCopyFailing = false;
  int number;
};
struct FragileHash {
  std::size_t operator()(const Fragile& element) const { return static_cast<std::size_t>(element.number); }
};

TEST(NSMutableOrderedSet, RemovalThatThrowsChangesNothing) {
  constexpr int count = 100;
  NSMutableOrderedSet<Fragile, FragileHash> set;
  for (int number = 0; number < count; ++number) set.add(Fragile(number));
  Fragile::isCopyFailing = true;
  int kept = 0;
  for (int number = 0; number < count; ++number) {
    const std::int64_t before = set.count();
    try {
      EXPECT_TRUE(set.remove(Fragile(number)));
      EXPECT_EQ(set.count(), before - 1);
    } catch (const std::bad_alloc&) {
      ++kept;
      EXPECT_EQ(set.count(), before);
      EXPECT_TRUE(set.contains(Fragile(number)));
    }
  }
  Fragile::isCopyFailing = false;
  EXPECT_GT(kept, 0);
  EXPECT_EQ(set.count(), kept);
  EXPECT_TRUE(set.remove(Fragile(count - 1)));
  EXPECT_EQ(set.count(), kept - 1);
}

TEST(NSMutableOrderedSet, InvalidIndexThrowsAndChangesNothing) {
  Letters letters{"A", "B"};
  EXPECT_THROW(letters.insert("C", 3), std::out_of_range);
  EXPECT_THROW(letters.insert("A", -1), std::out_of_range);
  EXPECT_THROW(letters.removeObjectAt(2), std::out_of_range);
  EXPECT_THROW(letters.removeObjectAt(-1), std::out_of_range);
  EXPECT_THROW(letters.moveObject(0, 2), std::out_of_range);
  EXPECT_THROW(letters.moveObject(-1, 0), std::out_of_range);
  EXPECT_THROW(letters.moveObjects({0, 2}, 0), std::out_of_range);
  EXPECT_THROW(letters.moveObjects({-1}, 0), std::out_of_range);
  EXPECT_THROW(letters.moveObjects({0}, 2), std::out_of_range);
  EXPECT_THROW(letters.moveObjects({0}, -1), std::out_of_range);
  EXPECT_THROW(letters.moveObjects({}, 3), std::out_of_range);
  EXPECT_THAT(letters, ElementsAre("A", "B"));
}

TEST(NSMutableOrderedSet, MovesABlockToAnIndexOfTheRemainingElements) {
  Letters letters{"a", "b", "c", "d", "e"};
  letters.moveObjects({0, 1}, 3);
  EXPECT_THAT(letters, ElementsAre("c", "d", "e", "a", "b"));
  letters.moveObjects({0, 2, 4}, 1);
  EXPECT_THAT(letters, ElementsAre("d", "c", "e", "b", "a"));
  letters.moveObjects({}, 5);
  EXPECT_THAT(letters, ElementsAre("d", "c", "e", "b", "a"));
  letters.moveObjects({0, 1, 2, 3, 4}, 0);
  EXPECT_THAT(letters, ElementsAre("d", "c", "e", "b", "a"));
  EXPECT_EQ(letters.index("a"), 4);
  EXPECT_EQ(letters.index("d"), 0);
}

TEST(NSMutableOrderedSet, BlockMovesEqualRemovingAndInserting) {
  for (std::int64_t count = 1; count <= 7; ++count) {
    for (unsigned chosen = 0; chosen < 1u << count; ++chosen) {
      std::set<std::int64_t> indexes;
      std::vector<int> rest;
      std::vector<int> block;
      for (int i = 0; i < count; ++i) {
        const bool isChosen = (chosen >> i & 1) != 0;
        (isChosen ? block : rest).push_back(i);
        if (isChosen) indexes.insert(i);
      }
      for (std::size_t target = 0; target <= rest.size(); ++target) {
        std::vector<int> expected = rest;
        expected.insert(expected.begin() + static_cast<std::ptrdiff_t>(target), block.begin(), block.end());
        NSMutableOrderedSet<int> set(std::views::iota(0, static_cast<int>(count)));
        set.moveObjects(indexes, static_cast<std::int64_t>(target));
        ASSERT_TRUE(std::ranges::equal(set, expected)) << count << ' ' << chosen << ' ' << target;
      }
    }
  }
}

TEST(NSMutableOrderedSet, MovesOneElementToEveryPlace) {
  for (int from = 0; from < 5; ++from) {
    for (int to = 0; to < 5; ++to) {
      NSMutableOrderedSet<int> set(std::views::iota(0, 5));
      NSMutableOrderedSet<int> byBlock = set;
      set.moveObject(from, to);
      byBlock.moveObjects({from}, to);
      EXPECT_EQ(set, byBlock);
      EXPECT_EQ(set.object(to), from);
    }
  }
}

TEST(NSMutableOrderedSet, ChangesDoNotReachCopies) {
  const NSOrderedSet<std::string> original{"A", "B", "C"};
  Letters changed(original);
  changed.moveObject(0, 2);
  Letters more = changed;
  more.add("D");
  more.remove("B");
  EXPECT_THAT(original, ElementsAre("A", "B", "C"));
  EXPECT_THAT(changed, ElementsAre("B", "C", "A"));
  EXPECT_THAT(more, ElementsAre("C", "A", "D"));
  EXPECT_EQ(changed.index("A"), 2);
}

TEST(NSMutableOrderedSet, BehavesLikeAVectorWithoutDuplicates) {
  std::mt19937 random(14);
  for (int round = 0; round < 60; ++round) {
    NSMutableOrderedSet<int> set;
    std::vector<int> model;
    const unsigned kinds = 5 + random() % 300;
    for (int step = 0; step < 400; ++step) {
      const int value = static_cast<int>(random() % kinds);
      const auto found = std::ranges::find(model, value);
      ASSERT_EQ(set.contains(value), found != model.end());
      ASSERT_EQ(set.index(value), found == model.end() ? NSNotFound : found - model.begin());
      switch (random() % 4) {
        case 0:
        case 1: {
          const auto index = static_cast<std::int64_t>(random() % (model.size() + 1));
          ASSERT_EQ(set.insert(value, index), found == model.end());
          if (found == model.end()) model.insert(model.begin() + index, value);
          break;
        }
        case 2:
          ASSERT_EQ(set.remove(value), found != model.end());
          if (found != model.end()) model.erase(found);
          break;
        default:
          if (model.empty()) break;
          const auto from = static_cast<std::int64_t>(random() % model.size());
          const auto to = static_cast<std::int64_t>(random() % model.size());
          set.moveObject(from, to);
          const int moved = model[static_cast<std::size_t>(from)];
          model.erase(model.begin() + from);
          model.insert(model.begin() + to, moved);
      }
      ASSERT_TRUE(std::ranges::equal(set, model));
    }
  }
}

}  // namespace
