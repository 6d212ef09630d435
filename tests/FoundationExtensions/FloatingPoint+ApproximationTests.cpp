// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "Tessaly/FoundationExtensions/FloatingPoint+Approximation.hpp"

namespace {

using namespace Tessaly;
using FloatingPoint::isApproximatelyEqual;
using FloatingPoint::isApproximatelyZero;

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

TEST(IsApproximatelyZero, LimitIsStrictlyBelowAHundredThousandth) {
  EXPECT_TRUE(isApproximatelyZero(0.000009));
  EXPECT_TRUE(isApproximatelyZero(-0.000009));
  EXPECT_FALSE(isApproximatelyZero(0.00001));
  EXPECT_FALSE(isApproximatelyZero(-0.00001));
  EXPECT_TRUE(isApproximatelyZero(std::nextafter(0.00001, 0)));
  EXPECT_TRUE(isApproximatelyZero(-0.0));
  EXPECT_FALSE(isApproximatelyZero(nan));
  EXPECT_FALSE(isApproximatelyZero(-infinity));
}

TEST(IsApproximatelyZero, UsesTheConstantOfTheType) {
  EXPECT_FALSE(isApproximatelyZero(0.00001f));
  EXPECT_TRUE(isApproximatelyZero(std::nextafter(0.00001f, 0.0f)));
  // clang 19 crashes if it knows this value while it optimises for arm64.
  const volatile long double limit = 0.00001L;
  EXPECT_FALSE(isApproximatelyZero<long double>(limit));
}

TEST(IsApproximatelyEqual, ScalesItsToleranceWithTheFirstValue) {
  EXPECT_TRUE(isApproximatelyEqual(100000.0, 100000.9));
  EXPECT_FALSE(isApproximatelyEqual(100000.0, 100001.0));
  EXPECT_TRUE(isApproximatelyEqual(-100000.0, -100000.9));
  EXPECT_FALSE(isApproximatelyEqual(100000.0, -100000.0));
  EXPECT_TRUE(isApproximatelyEqual(100000.0f, 100000.9f));
}

TEST(IsApproximatelyEqual, UsesAnAbsoluteToleranceBelowOne) {
  EXPECT_FALSE(isApproximatelyEqual(0.5, 0.50002));
  EXPECT_TRUE(isApproximatelyEqual(0.5, 0.500009));
  EXPECT_TRUE(isApproximatelyEqual(0.0, 0.000009));
  EXPECT_FALSE(isApproximatelyEqual(0.0, 0.00001));
}

TEST(IsApproximatelyEqual, DependsOnTheOrderOfTheValues) {
  EXPECT_FALSE(isApproximatelyEqual(1'000'000.0, 1'000'010.00005));
  EXPECT_TRUE(isApproximatelyEqual(1'000'010.00005, 1'000'000.0));
}

TEST(IsApproximatelyEqual, KnowsInfinitiesAndNaN) {
  EXPECT_TRUE(isApproximatelyEqual(infinity, infinity));
  EXPECT_FALSE(isApproximatelyEqual(infinity, -infinity));
  EXPECT_FALSE(isApproximatelyEqual(infinity, 1.0));
  EXPECT_FALSE(isApproximatelyEqual(1.0, infinity));
  EXPECT_FALSE(isApproximatelyEqual(nan, nan));
  EXPECT_FALSE(isApproximatelyEqual(nan, 0.0));
  EXPECT_TRUE(isApproximatelyEqual(-0.0, 0.0));
}

TEST(IsApproximatelyEqual, WithAToleranceIsStrictlyBelowIt) {
  EXPECT_TRUE(isApproximatelyEqual(1.0, 1.25, 0.5));
  EXPECT_FALSE(isApproximatelyEqual(1.0, 1.5, 0.5));
  EXPECT_TRUE(isApproximatelyEqual(1.0, 1.0, 0.0));
  EXPECT_TRUE(isApproximatelyEqual(1.0, 1.0, -1.0));
  EXPECT_FALSE(isApproximatelyEqual(1.0, 1.0000001, 0.0));
  EXPECT_TRUE(isApproximatelyEqual(infinity, infinity, 0.1));
  EXPECT_FALSE(isApproximatelyEqual(1.0, 2.0, nan));
  EXPECT_TRUE(isApproximatelyEqual(1.0f, 1.25f, 0.5f));
}

template <typename T>
concept Comparable = requires(T value) { FloatingPoint::isApproximatelyZero(value); };

TEST(IsApproximatelyZero, IsOfferedForFloatingPointOnly) {
  EXPECT_TRUE(Comparable<float>);
  EXPECT_TRUE(Comparable<double>);
  EXPECT_FALSE(Comparable<int>);
}

}  // namespace
