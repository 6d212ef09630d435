// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "Tessaly/FoundationExtensions/IndexPath+Row.hpp"

namespace Tessaly {
namespace {

TEST(IndexPathRow, IsTheItemNumber) {
  EXPECT_EQ(row(IndexPath({.item = 3, .section = 1})), 3);
  EXPECT_EQ(row(IndexPath::withIndexes({7, 0, 9})), 0);
}

TEST(IndexPathRowDeathTest, APathWithoutAnItemStopsTheProcess) {
  EXPECT_DEATH(static_cast<void>(row(IndexPath::withIndexes({1}))), "Tessaly/IndexPath:[0-9]+: Fatal error: ");
}

}  // namespace
}  // namespace Tessaly
