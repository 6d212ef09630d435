// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

#include "Tessaly/SettingsAndObservation/NSNumberTransformable.hpp"

namespace Tessaly {
namespace {

template <typename Value>
Value from(NSNumber number) {
  return NSNumberTransformableTraits<Value>::from(number);
}

TEST(NSNumberTransformable, BoxesEachKindAsItself) {
  EXPECT_TRUE(nsNumber(std::int64_t{-5}).isIdentical(NSNumber(std::int64_t{-5})));
  EXPECT_TRUE(nsNumber(std::int16_t{-5}).isIdentical(NSNumber(std::int16_t{-5})));
  EXPECT_TRUE(nsNumber(0.1F).isIdentical(NSNumber(0.1F)));
  EXPECT_TRUE(nsNumber(0.1).isIdentical(NSNumber(0.1)));
}

TEST(NSNumberTransformable, TruncatesFractionsTowardZero) {
  EXPECT_EQ(from<std::int64_t>(NSNumber(-5.9)), -5);
  EXPECT_EQ(from<std::int64_t>(NSNumber(5.9)), 5);
  EXPECT_EQ(from<std::int16_t>(NSNumber(70'000.9)), 4464);
}

TEST(NSNumberTransformable, WrapsToTheWidth) {
  EXPECT_EQ(from<std::int16_t>(NSNumber(40'000)), -25'536);
  EXPECT_EQ(from<std::int16_t>(NSNumber(65'535)), -1);
  EXPECT_EQ(from<std::int16_t>(NSNumber(std::numeric_limits<std::int32_t>::min())), 0);
  EXPECT_EQ(from<std::int64_t>(NSNumber(std::numeric_limits<std::uint64_t>::max())), -1);
}

TEST(NSNumberTransformable, RoundsToTheNearestReal) {
  EXPECT_EQ(from<float>(NSNumber(0.1)), 0.1F);
  EXPECT_EQ(from<float>(NSNumber((1 << 24) + 1)), 0x1p24F);
  EXPECT_EQ(from<double>(NSNumber(0.1F)), static_cast<double>(0.1F));
  EXPECT_EQ(from<double>(NSNumber(true)), 1.0);
}

TEST(NSNumberTransformable, NoOtherKindConforms) {
  static_assert(!NSNumberTransformable<bool>);
  static_assert(!NSNumberTransformable<std::int32_t>);
  static_assert(!NSNumberTransformable<std::int8_t>);
  static_assert(!NSNumberTransformable<std::uint64_t>);
  static_assert(NSNumberTransformable<std::int64_t> && NSNumberTransformable<std::int16_t> &&
                NSNumberTransformable<float> && NSNumberTransformable<double>);
}

}  // namespace
}  // namespace Tessaly
