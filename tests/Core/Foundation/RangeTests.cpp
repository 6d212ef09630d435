// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "Tessaly/Core/Foundation/Range.hpp"

namespace {

using namespace Tessaly;

static_assert(Range(1, 3).contains(1));

TEST(Range, ExcludesItsUpperBound) {
  const Range range(1, 3);
  EXPECT_EQ(range.lowerBound(), 1);
  EXPECT_EQ(range.upperBound(), 3);
  EXPECT_FALSE(range.contains(0));
  EXPECT_TRUE(range.contains(2));
  EXPECT_FALSE(range.contains(3));
  EXPECT_FALSE(range.isEmpty());
  EXPECT_TRUE(Range(1, 1).isEmpty());
  EXPECT_EQ(range, Range(1, 3));
  EXPECT_NE(range, Range(1, 4));
}

TEST(ClosedRange, IncludesItsUpperBound) {
  const ClosedRange<std::string> range("b", "d");
  EXPECT_FALSE(range.contains("a"));
  EXPECT_TRUE(range.contains("b"));
  EXPECT_TRUE(range.contains("d"));
  EXPECT_FALSE(range.contains("da"));
  EXPECT_TRUE(ClosedRange(4, 4).contains(4));
}

TEST(RangeDeathTest, BoundsInTheWrongOrderStopTheProcess) {
  EXPECT_DEATH(Range(2, 1), "Tessaly/Range:.*: Fatal error: Range requires lowerBound <= upperBound");
  EXPECT_DEATH(ClosedRange(2, 1), "ClosedRange requires lowerBound <= upperBound");
  EXPECT_DEATH(ClosedRange(0.0, std::numeric_limits<double>::quiet_NaN()), "requires lowerBound <= upperBound");
}

}  // namespace
