// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "Tessaly/FoundationExtensions/CGSize+Approximation.hpp"

namespace {

using namespace Tessaly;

TEST(CGSizeApproximation, ComparesWidthsAndHeights) {
  const CGSize size{.width = 100, .height = 50};
  EXPECT_TRUE(isApproximatelyEqual(size, size, 0));
  EXPECT_TRUE(isApproximatelyEqual(size, {100.25, 49.75}, 0.5));
  EXPECT_FALSE(isApproximatelyEqual(size, {100.5, 50}, 0.5));
  EXPECT_FALSE(isApproximatelyEqual(size, {100, 49.5}, 0.5));
  EXPECT_TRUE(isApproximatelyEqual(size, {100, 49.75}, 0.5));
}

}  // namespace
