// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "Tessaly/FoundationExtensions/Int+Multiples.hpp"

namespace {

using namespace Tessaly;

constexpr std::int64_t lowest = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t highest = std::numeric_limits<std::int64_t>::max();

TEST(IntDigits, CountsTheCharactersOfTheDecimalText) {
  EXPECT_EQ(Int::digits(0), 1);
  EXPECT_EQ(Int::digits(9), 1);
  EXPECT_EQ(Int::digits(10), 2);
  EXPECT_EQ(Int::digits(-7), 2);
  EXPECT_EQ(Int::digits(-12), 3);
  EXPECT_EQ(Int::digits(highest), 19);
  EXPECT_EQ(Int::digits(lowest), 20);
  for (std::int64_t value = 1; value < highest / 10; value *= 10) {
    for (const std::int64_t near : {value - 1, value, value + 1, -value, 1 - value}) {
      EXPECT_EQ(Int::digits(near), static_cast<std::int64_t>(std::to_string(near).size())) << near;
    }
  }
}

TEST(IntNearestMultiple, RoundsHalvesAwayFromZero) {
  EXPECT_EQ(Int::nearestMultiple(6, 4), 8);
  EXPECT_EQ(Int::nearestMultiple(-6, 4), -8);
  EXPECT_EQ(Int::nearestMultiple(5, 4), 4);
  EXPECT_EQ(Int::nearestMultiple(7, 4), 8);
  EXPECT_EQ(Int::nearestMultiple(8, 4), 8);
  EXPECT_EQ(Int::nearestMultiple(6, -4), 8);
  EXPECT_EQ(Int::nearestMultiple(0, 4), 0);
}

TEST(IntNearestMultiple, ComputesTheQuotientInDoublePrecision) {
  // 2^53 + 1 has no double; its quotient by 1 is 2^53.
  EXPECT_EQ(Int::nearestMultiple((std::int64_t{1} << 53) + 1, 1), std::int64_t{1} << 53);
  EXPECT_EQ(Int::nearestMultiple(lowest, 1), lowest);
}

TEST(IntNearestUpMultiple, GivesOneMultipleAboveTheTruncatedQuotient) {
  EXPECT_EQ(Int::nearestUpMultiple(11, 5), 15);
  EXPECT_EQ(Int::nearestUpMultiple(10, 5), 10);
  EXPECT_EQ(Int::nearestUpMultiple(-5, 3), 0);
  EXPECT_EQ(Int::nearestUpMultiple(-6, 3), -6);
  EXPECT_EQ(Int::nearestUpMultiple(-1, 3), 3);
  EXPECT_EQ(Int::nearestUpMultiple(11, -5), 5);
  EXPECT_EQ(Int::nearestUpMultiple(highest, 1), highest);
  EXPECT_EQ(Int::nearestUpMultiple(lowest, 2), lowest);
  EXPECT_EQ(Int::nearestUpMultiple(highest, lowest), lowest);
}

TEST(IntNearestTowardZeroMultiple, TruncatesTheQuotient) {
  EXPECT_EQ(Int::nearestTowardZeroMultiple(-11, 5), -10);
  EXPECT_EQ(Int::nearestTowardZeroMultiple(11, 5), 10);
  EXPECT_EQ(Int::nearestTowardZeroMultiple(11, -5), 10);
  EXPECT_EQ(Int::nearestTowardZeroMultiple(4, 5), 0);
  EXPECT_EQ(Int::nearestTowardZeroMultiple(lowest, highest), -highest);
}

TEST(IntMultiples, DivisorMinusOneGivesTheValue) {
  for (const std::int64_t value : {lowest, std::int64_t{-3}, std::int64_t{0}, highest}) {
    EXPECT_EQ(Int::nearestMultiple(value, -1), value);
    EXPECT_EQ(Int::nearestUpMultiple(value, -1), value);
    EXPECT_EQ(Int::nearestTowardZeroMultiple(value, -1), value);
  }
}

TEST(IntMultiples, DivisorZeroGivesZeroForZero) {
  EXPECT_EQ(Int::nearestUpMultiple(0, 0), 0);
  EXPECT_EQ(Int::nearestTowardZeroMultiple(0, 0), 0);
}

TEST(IntMultiples, AgreeWithExactArithmeticForSmallValues) {
  for (std::int64_t value = -60; value <= 60; ++value) {
    for (std::int64_t divisor = -12; divisor <= 12; ++divisor) {
      if (divisor == 0 || divisor == -1) continue;
      // Twice the distance identifies the nearest multiple without a division.
      std::int64_t nearest = 0;
      for (std::int64_t factor = -60; factor <= 60; ++factor) {
        const std::int64_t multiple = factor * divisor;
        const std::int64_t distance = std::abs(multiple - value);
        const std::int64_t best = std::abs(nearest - value);
        if (distance < best || (distance == best && std::abs(multiple) > std::abs(nearest))) nearest = multiple;
      }
      ASSERT_EQ(Int::nearestMultiple(value, divisor), nearest) << value << ' ' << divisor;
    }
  }
}

TEST(IntMultiplesDeathTest, ADivisorOfZeroStopsTheProcess) {
  EXPECT_DEATH(static_cast<void>(Int::nearestMultiple(0, 0)),
               "Tessaly/Int\\+Multiples:.*: Fatal error: The nearest multiple of 0 is not defined");
  EXPECT_DEATH(static_cast<void>(Int::nearestMultiple(5, 0)), "The nearest multiple of 0 is not defined");
  EXPECT_DEATH(static_cast<void>(Int::nearestUpMultiple(1, 0)),
               "Tessaly/Int\\+Multiples:.*: Fatal error: Division by zero");
  EXPECT_DEATH(static_cast<void>(Int::nearestTowardZeroMultiple(-1, 0)), "Division by zero");
}

TEST(IntMultiplesDeathTest, OverflowStopsTheProcess) {
  EXPECT_DEATH(static_cast<void>(Int::nearestMultiple(highest, 1)), "The quotient does not fit in 64 bits");
  EXPECT_DEATH(static_cast<void>(Int::nearestMultiple(highest, 10)), "Arithmetic overflow in a multiple");
  EXPECT_DEATH(static_cast<void>(Int::nearestUpMultiple(highest, 10)), "Arithmetic overflow in a multiple");
}

template <typename T>
concept HasDigits = requires(T value) { Int::digits(value); };

TEST(IntMultiples, TakeIntegersThatFitIn64Bits) {
  EXPECT_TRUE(HasDigits<std::int64_t>);
  EXPECT_TRUE(HasDigits<int>);
  EXPECT_TRUE(HasDigits<std::uint32_t>);
  EXPECT_FALSE(HasDigits<std::uint64_t>);
  EXPECT_FALSE(HasDigits<double>);
  EXPECT_FALSE(HasDigits<bool>);
}

}  // namespace
