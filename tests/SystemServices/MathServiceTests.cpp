// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>

#include "Tessaly/SystemServices/MathService.hpp"

namespace {

using Tessaly::MathService::Interpolation::linear;

constexpr double infinity = std::numeric_limits<double>::infinity();

TEST(MathService, InterpolatesOnTheLineThroughTwoPoints) {
  EXPECT_EQ(linear(5, 0, 0, 10, 100), 50);
  EXPECT_EQ(linear(0, 0, 0, 10, 100), 0);
  EXPECT_EQ(linear(10, 0, 0, 10, 100), 100);
  EXPECT_EQ(linear(2, 1, 10, 3, -10), 0);
}

TEST(MathService, ExtrapolatesOutsideThePoints) {
  EXPECT_EQ(linear(20, 0, 0, 10, 100), 200);
  EXPECT_EQ(linear(-1, 0, 0, 10, 100), -10);
}

TEST(MathService, TakesThePointsInEitherOrder) { EXPECT_EQ(linear(5, 10, 100, 0, 0), 50); }

TEST(MathService, VerticalLineGivesNaN) {
  // The result is infinity minus infinity, or 0 divided by 0.
  EXPECT_TRUE(std::isnan(linear(2, 1, 0, 1, 5)));
  EXPECT_TRUE(std::isnan(linear(1, 1, 5, 1, 5)));
}

TEST(MathService, FollowsTheRulesOfFloatingPointToInfinity) {
  EXPECT_TRUE(std::isnan(linear(-2, 0, 0, 0, 5)));  // The result contains 0 times an infinite slope.
  EXPECT_EQ(linear(-2, 1, 0, 1, 5), -infinity);     // Both terms are infinite with the same sign.
  EXPECT_EQ(linear(infinity, 0, 0, 10, 100), infinity);
  EXPECT_EQ(linear(-infinity, 0, 0, 10, 100), -infinity);
}

TEST(MathService, EveryOperationIsRoundedSeparately) {
  // No double equals x times the slope here, so a fused multiplication and addition would give another result.
  const double x = 0.1, x0 = 0.3, y0 = 0.7, x1 = 1.1, y1 = 0.2;
  const volatile double slope = (y1 - y0) / (x1 - x0);
  const volatile double product = x * slope;
  const volatile double offset = x0 * slope;
  const volatile double intercept = y0 - offset;
  EXPECT_EQ(std::bit_cast<std::uint64_t>(linear(x, x0, y0, x1, y1)),
            std::bit_cast<std::uint64_t>(static_cast<double>(product + intercept)));
}

}  // namespace
