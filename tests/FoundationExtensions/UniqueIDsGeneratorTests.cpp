// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <limits>

#include "Tessaly/FoundationExtensions/UniqueIDsGenerator.hpp"

namespace {

using namespace Tessaly;

constexpr std::int64_t highest = std::numeric_limits<std::int64_t>::max();

TEST(UniqueIDsGenerator, FirstValueIsTheStartPlusOne) {
  UniqueIDsGenerator generator(0);
  EXPECT_EQ(generator.current(), 0);
  EXPECT_EQ(generator.next(), 1);
  EXPECT_EQ(generator.next(), 2);
  EXPECT_EQ(generator.next(), 3);
  EXPECT_EQ(generator.current(), 3);
  EXPECT_EQ(UniqueIDsGenerator(-1).next(), 0);
}

TEST(UniqueIDsGenerator, IsAValue) {
  UniqueIDsGenerator generator(5);
  UniqueIDsGenerator copy = generator;
  EXPECT_EQ(generator.next(), 6);
  EXPECT_EQ(copy.next(), 6);
}

TEST(UniqueIDsGenerator, GeneratesTheMaximum) { EXPECT_EQ(UniqueIDsGenerator(highest - 1).next(), highest); }

TEST(UniqueIDsGeneratorDeathTest, ExhaustionStopsTheProcess) {
  UniqueIDsGenerator generator(highest);
  EXPECT_DEATH(generator.next(), "Tessaly/UniqueIDsGenerator:.*: Fatal error: There are no more identifiers");
}

}  // namespace
