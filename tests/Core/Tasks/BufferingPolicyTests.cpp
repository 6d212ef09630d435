// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <limits>
#include <optional>

#include "Tessaly/Core/Tasks/BufferingPolicy.hpp"

namespace Tessaly {
namespace {

TEST(BufferingPolicy, NamesAKindAndALimit) {
  constexpr auto oldest = BufferingPolicy::oldest(3);
  EXPECT_EQ(oldest.kind, BufferingPolicy::Kind::oldest);
  EXPECT_EQ(oldest.limit, 3);
  constexpr auto newest = BufferingPolicy::newest(-1);
  EXPECT_EQ(newest.kind, BufferingPolicy::Kind::newest);
  EXPECT_EQ(newest.limit, -1);
  constexpr auto unbounded = BufferingPolicy::unbounded();
  EXPECT_EQ(unbounded.kind, BufferingPolicy::Kind::unbounded);
  EXPECT_EQ(unbounded.limit, std::numeric_limits<std::int64_t>::max());
}

TEST(BufferingPolicy, EqualsAnotherOfTheSameKindAndLimit) {
  EXPECT_EQ(BufferingPolicy::newest(2), BufferingPolicy::newest(2));
  EXPECT_NE(BufferingPolicy::newest(2), BufferingPolicy::newest(3));
  EXPECT_NE(BufferingPolicy::newest(2), BufferingPolicy::oldest(2));
}

TEST(YieldResult, HoldsNeitherACountNorAnElementUnlessTold) {
  const YieldResult<int> result{YieldResultKind::terminated};
  EXPECT_EQ(result.remaining, 0);
  EXPECT_EQ(result.element, std::nullopt);
}

}  // namespace
}  // namespace Tessaly
