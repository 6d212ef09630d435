// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <array>
#include <deque>
#include <limits>
#include <span>
#include <string>
#include <vector>

#include "Tessaly/FoundationExtensions/Collection+IfPresent.hpp"

namespace {

using namespace Tessaly;

TEST(CollectionIfPresent, ElementIsAbsentForAnInvalidIndex) {
  const std::vector<std::string> five{"A", "B", "C", "D", "E"};
  EXPECT_EQ(Collection::ifPresent(five, 0), "A");
  EXPECT_EQ(Collection::ifPresent(five, 4), "E");
  EXPECT_EQ(Collection::ifPresent(five, 5), std::nullopt);
  EXPECT_EQ(Collection::ifPresent(five, -1), std::nullopt);
  EXPECT_EQ(Collection::ifPresent(five, std::numeric_limits<std::int64_t>::min()), std::nullopt);
  EXPECT_EQ(Collection::ifPresent(std::span(five).subspan(1, 2), 2), std::nullopt);
  EXPECT_EQ(Collection::ifPresent(std::deque{1, 2}, 1), 2);
  EXPECT_EQ(Collection::ifPresent(std::array<int, 0>{}, 0), std::nullopt);
}

}  // namespace
