// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <concepts>
#include <cstdint>
#include <limits>
#include <string>

#include "Tessaly/FoundationExtensions/Comparable+Clamped.hpp"

namespace {

using namespace Tessaly;

static_assert(Comparable::clamped(5, ClosedRange(1, 3)) == 3);

TEST(Clamped, BringsAValueIntoItsRange) {
  EXPECT_EQ(Comparable::clamped(5, ClosedRange(1, 3)), 3);
  EXPECT_EQ(Comparable::clamped(-1, ClosedRange(1, 3)), 1);
  EXPECT_EQ(Comparable::clamped(2, ClosedRange(1, 3)), 2);
  EXPECT_EQ(Comparable::clamped(7, ClosedRange(4, 4)), 4);
  EXPECT_EQ(Comparable::clamped(0.75, ClosedRange(0.0, 0.5)), 0.5);
  EXPECT_EQ(Comparable::clamped(std::string("zebra"), ClosedRange<std::string>("ape", "cat")), "cat");
}

TEST(Clamped, AcceptsConvertibleNumbers) {
  static_assert(std::same_as<decltype(Comparable::clamped(5, ClosedRange<std::int64_t>(1, 3))), std::int64_t>);
  EXPECT_EQ(Comparable::clamped(5, ClosedRange<std::int64_t>(1, 3)), 3);
  EXPECT_EQ(Comparable::clamped(0.25F, ClosedRange(0.5, 1.0)), 0.5);
}

template <typename Value, typename T>
concept Clampable = requires(Value value, ClosedRange<T> range) { Comparable::clamped(value, range); };
static_assert(!Clampable<double, int>, "it would lose its fraction");

TEST(Clamped, ComparesIntegersOfAnySizeAndSignByValue) {
  constexpr auto low = std::numeric_limits<std::int64_t>::min();
  constexpr auto high = std::numeric_limits<std::uint64_t>::max();
  EXPECT_EQ(Comparable::clamped(low, ClosedRange(1, 3)), 1);
  EXPECT_EQ(Comparable::clamped(high, ClosedRange(-1, 3)), 3);
  EXPECT_EQ(Comparable::clamped(-5, ClosedRange(2U, 3U)), 2U);
  EXPECT_EQ(Comparable::clamped(2U, ClosedRange(-1, 3)), 2);
  EXPECT_EQ(Comparable::clamped('x', ClosedRange(0, 9)), 9);
}

TEST(Clamped, ComparesLiteralsAsTexts) {
  EXPECT_EQ(Comparable::clamped("m", ClosedRange("a", "f")), "f");
  EXPECT_EQ(Comparable::clamped("A", ClosedRange("a", "f")), "a");
  EXPECT_EQ(Comparable::clamped("cat", ClosedRange<std::string>("ape", "dog")), "cat");
  EXPECT_EQ(Tessaly::clamped(7, ClosedRange(1, 3)), 3);
}

TEST(Clamped, NaNBecomesTheLowerBound) {
  EXPECT_EQ(Comparable::clamped(std::numeric_limits<double>::quiet_NaN(), ClosedRange(1.0, 3.0)), 1.0);
}

}  // namespace
