// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <numeric>
#include <stdexcept>
#include <string>
#include <vector>

#include "Tessaly/FoundationExtensions/NSOrderedSet+Moves.hpp"

namespace {

using namespace Tessaly;
using ::testing::ElementsAre;

using Letters = NSOrderedSet<std::string>;
const Letters& letters() {
  static const auto& letters = *new Letters{"A", "B", "C", "D", "E"};
  return letters;
}

template <typename Move>
std::string messageOf(Move move) {
  try {
    move();
  } catch (const Letters::MoveError& error) {
    return error.errorDescription;
  }
  return "no error";
}

TEST(MovingItems, PutsItemsBeforeOrBehindTheDestination) {
  EXPECT_THAT(movingItems(letters(), {1}, 3, false), ElementsAre("A", "C", "B", "D", "E"));
  EXPECT_THAT(movingItems(letters(), {1}, 3, true), ElementsAre("A", "C", "D", "B", "E"));
  EXPECT_THAT(movingItems(letters(), {1, 2}, 3, false), ElementsAre("A", "B", "C", "D", "E"));
  EXPECT_THAT(movingItems(letters(), {1, 2}, 3, true), ElementsAre("A", "D", "B", "C", "E"));
  EXPECT_THAT(movingItems(letters(), {0}, 5, false), ElementsAre("B", "C", "D", "E", "A"));
  EXPECT_THAT(movingItems(letters(), {3}, 0, true), ElementsAre("D", "A", "B", "C", "E"));
  EXPECT_THAT(letters(), ElementsAre("A", "B", "C", "D", "E"));
}

TEST(MovingItems, MovingNoItemChangesNothing) {
  EXPECT_EQ(movingItems(letters(), {}, 2, false), letters());
  EXPECT_EQ(movingItems(letters(), {}, 5, true), letters());
}

TEST(MovingItems, ErrorsExplainTheMistake) {
  EXPECT_EQ(messageOf([] { return movingItems(letters(), {0, 1, 2, 3, 4}, 0, false); }), "Cannot move all items");
  EXPECT_EQ(messageOf([] { return movingItems(Letters(), {}, 0, false); }), "Cannot move all items");
  EXPECT_EQ(messageOf([] { return movingItems(letters(), {5, 6, 7, 8, 9, 10}, 9, false); }), "Cannot move all items");
  EXPECT_EQ(messageOf([] { return movingItems(letters(), {7}, 0, false); }), "The source index 7 is out of bounds (5)");
  EXPECT_EQ(messageOf([] { return movingItems(letters(), {5}, 6, false); }), "The source index 5 is out of bounds (5)");
  EXPECT_EQ(messageOf([] { return movingItems(letters(), {0}, 6, false); }),
            "The destination index 6 is out of bounds (6)");
}

TEST(MovingItems, UncheckedIndexesFailInTheMove) {
  EXPECT_THROW(static_cast<void>(movingItems(letters(), {-1}, 3, false)), std::out_of_range);
  EXPECT_THROW(static_cast<void>(movingItems(letters(), {1}, -1, false)), std::out_of_range);
  // The block would stand behind the end of the other items.
  EXPECT_THROW(static_cast<void>(movingItems(letters(), {3, 4}, 5, true)), std::out_of_range);
}

// The algorithm again, step by step, on plain lists.

struct Outcome {
  std::vector<int> order;
  std::string error;
  friend bool operator==(const Outcome&, const Outcome&) = default;
};

std::vector<int> iota(int count) {
  std::vector<int> items(static_cast<std::size_t>(count));
  std::iota(items.begin(), items.end(), 0);
  return items;
}

/// Removes the objects, then inserts them in their relative order, starting at t.
Outcome moveObjects(std::vector<int> items, const std::vector<int>& sorted, int t) {
  std::vector<int> moved;
  for (const int index : sorted) {
    if (index < 0 || index >= static_cast<int>(items.size())) return {{}, "out of range"};
    moved.push_back(items[static_cast<std::size_t>(index)]);
  }
  for (const int item : moved) std::erase(items, item);
  if (t < 0 || t > static_cast<int>(items.size())) return {{}, "out of range"};
  items.insert(items.begin() + t, moved.begin(), moved.end());
  return {items, ""};
}

Outcome expectedMove(int count, const std::vector<int>& S, int d, bool includeDestinationIndex) {
  const int n = static_cast<int>(S.size());
  if (n >= count) return {{}, "Cannot move all items"};
  for (const int index : S) {
    if (index >= count) {
      return {{}, "The source index " + std::to_string(index) + " is out of bounds (" + std::to_string(count) + ")"};
    }
  }
  if (d >= count + 1) {
    return {{}, "The destination index " + std::to_string(d) + " is out of bounds (" + std::to_string(count + 1) + ")"};
  }
  int t = d;
  bool stopped = false;
  bool shifted = false;
  for (int i = 0; i < n; ++i) {
    const int index = S[static_cast<std::size_t>(i)];
    if (n != 1 && index == d - 1) {
      t = d - n;
      stopped = true;
      break;
    } else if (index < d) {
      t = t - 1;
      shifted = true;
      continue;
    } else {
      stopped = true;
      break;
    }
  }
  if (!stopped || shifted) {
    if (includeDestinationIndex && t < count - 1) t = t + 1;
  }
  return moveObjects(iota(count), S, t);
}

template <typename Move>
Outcome outcomeOf(Move move) {
  try {
    const auto moved = move();
    return {{moved.begin(), moved.end()}, ""};
  } catch (const Letters::MoveError& error) {
    return {{}, error.errorDescription};
  } catch (const std::out_of_range&) {
    return {{}, "out of range"};
  }
}

template <typename Body>
void forEveryGroup(int count, Body body) {
  // The indexes -1 and count are outside.
  for (unsigned chosen = 0; chosen < 1u << (count + 2); ++chosen) {
    std::vector<int> sorted;
    for (int bit = 0; bit < count + 2; ++bit) {
      if ((chosen >> bit & 1) != 0) sorted.push_back(bit - 1);
    }
    body(sorted, std::set<std::int64_t>(sorted.begin(), sorted.end()));
  }
}

TEST(MovingItems, EveryGroupDestinationAndFlagFollowsTheModel) {
  int moves = 0;
  for (int count = 0; count <= 6; ++count) {
    const NSOrderedSet<int> items(iota(count));
    forEveryGroup(count, [&](const std::vector<int>& sorted, const std::set<std::int64_t>& indexes) {
      for (int destination = -2; destination <= count + 2; ++destination) {
        for (const bool includes : {false, true}) {
          ASSERT_EQ(outcomeOf([&] { return movingItems(items, indexes, destination, includes); }),
                    expectedMove(count, sorted, destination, includes))
              << count << ' ' << testing::PrintToString(sorted) << " to " << destination << ' ' << includes;
          ++moves;
        }
      }
    });
  }
  EXPECT_EQ(moves, 4 * 2 * 5 + 8 * 2 * 6 + 16 * 2 * 7 + 32 * 2 * 8 + 64 * 2 * 9 + 128 * 2 * 10 + 256 * 2 * 11);
}

TEST(MovingLeftAndRightItems, EveryGroupFollowsTheModel) {
  for (int count = 0; count <= 6; ++count) {
    const NSOrderedSet<int> items(iota(count));
    forEveryGroup(count, [&](const std::vector<int>& sorted, const std::set<std::int64_t>& indexes) {
      Outcome left{iota(count), ""};
      for (auto i = sorted.begin(); i != sorted.end() && left.error.empty(); ++i) {
        left = *i < 1 ? Outcome{{}, "Provided indexes for move left operation contains the 0 index"}
                      : moveObjects(left.order, {*i}, *i - 1);
      }
      EXPECT_EQ(outcomeOf([&] { return movingLeftItems(items, indexes); }), left) << testing::PrintToString(sorted);

      Outcome right{iota(count), ""};
      for (auto i = sorted.rbegin(); i != sorted.rend() && right.error.empty(); ++i) {
        right = *i >= count - 1 ? Outcome{{}, "Provided indexes for move right operation contains the last valid index"}
                                : moveObjects(right.order, {*i}, *i + 1);
      }
      EXPECT_EQ(outcomeOf([&] { return movingRightItems(items, indexes); }), right) << testing::PrintToString(sorted);
    });
  }
}

TEST(MovingLeftItems, MovesEachOnePlaceTowardTheStart) {
  EXPECT_THAT(movingLeftItems(letters(), {1, 2}), ElementsAre("B", "C", "A", "D", "E"));
  EXPECT_THAT(movingLeftItems(letters(), {}), ElementsAre("A", "B", "C", "D", "E"));
  EXPECT_EQ(messageOf([] { return movingLeftItems(letters(), {0}); }),
            "Provided indexes for move left operation contains the 0 index");
  EXPECT_EQ(messageOf([] { return movingLeftItems(letters(), {0, 3}); }),
            "Provided indexes for move left operation contains the 0 index");
}

TEST(MovingRightItems, MovesEachOnePlaceTowardTheEnd) {
  EXPECT_THAT(movingRightItems(letters(), {3}), ElementsAre("A", "B", "C", "E", "D"));
  EXPECT_THAT(movingRightItems(letters(), {1, 2}), ElementsAre("A", "D", "B", "C", "E"));
  EXPECT_EQ(messageOf([] { return movingRightItems(letters(), {4}); }),
            "Provided indexes for move right operation contains the last valid index");
}

}  // namespace
