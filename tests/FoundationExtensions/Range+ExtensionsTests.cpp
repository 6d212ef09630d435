// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <limits>

#include "Tessaly/FoundationExtensions/Range+Extensions.hpp"

namespace {

using namespace Tessaly;

static_assert(width(Range(1969, 2023)) == 54);

TEST(RangeZero, GoesFromZeroToZero) {
  EXPECT_EQ(Range<int>::zero(), Range(0, 0));
  EXPECT_EQ(ClosedRange<double>::zero(), ClosedRange(0.0, 0.0));
  EXPECT_EQ(Range<std::chrono::seconds>::zero().upperBound(), std::chrono::seconds(0));
}

TEST(RangeWidth, IsTheDifferenceOfTheBounds) {
  EXPECT_EQ(width(Range(3, 7)), 4);
  EXPECT_EQ(width(ClosedRange(-1.5, 2.0)), 3.5);
  EXPECT_EQ(width(ClosedRange(5, 5)), 0);
  EXPECT_EQ(width(Range(std::uint8_t{0}, std::uint8_t{255})), 255);
  EXPECT_EQ(width(Range(std::chrono::seconds(1), std::chrono::seconds(61))), std::chrono::minutes(1));
}

TEST(RangeWidthDeathTest, OverflowStopsTheProcess) {
  constexpr auto lowest = std::numeric_limits<std::int64_t>::min();
  EXPECT_DEATH(static_cast<void>(width(Range<std::int64_t>(lowest, 0))),
               "Tessaly/Range\\+Extensions:.*: Fatal error: Arithmetic overflow in the width of a range");
  EXPECT_DEATH(static_cast<void>(width(ClosedRange<std::int64_t>(-2, std::numeric_limits<std::int64_t>::max()))),
               "Arithmetic overflow in the width of a range");
}

}  // namespace
