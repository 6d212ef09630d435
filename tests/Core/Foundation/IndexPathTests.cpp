// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <sstream>
#include <unordered_set>

#include "Tessaly/Core/Foundation/IndexPath.hpp"

namespace Tessaly {
namespace {

using testing::ElementsAre;

TEST(IndexPath, HasTheSectionBeforeTheItem) {
  const IndexPath path({.item = 3, .section = 1});
  EXPECT_EQ(path.item(), 3);
  EXPECT_EQ(path.section(), 1);
  EXPECT_EQ(path.count(), 2);
  EXPECT_THAT(path.indexes(), ElementsAre(1, 3));
  EXPECT_EQ(path, IndexPath::withIndexes({1, 3}));
}

TEST(IndexPath, MayBeOfAnyLength) {
  EXPECT_TRUE(IndexPath().isEmpty());
  EXPECT_EQ(IndexPath().appending(1).appending(3).appending(-5), IndexPath::withIndexes({1, 3, -5}));
  EXPECT_EQ(IndexPath::withIndexes({1, 3, 5}).item(), 3);
}

TEST(IndexPath, IsOrderedPositionByPosition) {
  const std::set<IndexPath> paths{IndexPath::withIndexes({1, 3}), IndexPath::withIndexes({2}), IndexPath(),
                                  IndexPath::withIndexes({1}), IndexPath::withIndexes({1, 2, 9})};
  EXPECT_THAT(paths, ElementsAre(IndexPath(), IndexPath::withIndexes({1}), IndexPath::withIndexes({1, 2, 9}),
                                 IndexPath::withIndexes({1, 3}), IndexPath::withIndexes({2})));
}

TEST(IndexPath, CanBeHashedAndDescribed) {
  const std::unordered_set<IndexPath> paths{IndexPath::withIndexes({1, 3}), IndexPath({.item = 3, .section = 1}),
                                            IndexPath::withIndexes({0}), IndexPath::withIndexes({0, 0}), IndexPath()};
  EXPECT_EQ(paths.size(), 4u);
  std::ostringstream stream;
  stream << IndexPath::withIndexes({1, 3}) << IndexPath();
  EXPECT_EQ(stream.str(), "[1, 3][]");
}

TEST(IndexPathDeathTest, APathThatIsTooShortStopsTheProcess) {
  EXPECT_DEATH(static_cast<void>(IndexPath().section()),
               "Tessaly/IndexPath:[0-9]+: Fatal error: The index path \\[\\] has no position 0");
  EXPECT_DEATH(static_cast<void>(IndexPath::withIndexes({4}).item()),
               "Tessaly/IndexPath:[0-9]+: Fatal error: The index path \\[4\\] has no position 1");
}

}  // namespace
}  // namespace Tessaly
