// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <limits>

#include "Tessaly/Core/Base/NumberDescription.hpp"

namespace Tessaly {
namespace {

TEST(NumberDescription, IsTheShortestTextThatParsesToTheSameNumber) {
  EXPECT_EQ(numberDescription(0.1), "0.1");
  EXPECT_EQ(numberDescription(0.1F), "0.1");
  EXPECT_EQ(numberDescription(0.1 + 0.2), "0.30000000000000004");
}

TEST(NumberDescription, ShowsAFractionOrAnExponent) {
  EXPECT_EQ(numberDescription(12.0), "12.0");
  EXPECT_EQ(numberDescription(-0.0), "-0.0");
  EXPECT_EQ(numberDescription(100000.0), "100000.0");
  EXPECT_EQ(numberDescription(0.0001), "0.0001");
  EXPECT_EQ(numberDescription(0.00001), "1e-05");
}

TEST(NumberDescription, HasAnExponentBeyondExactWholeNumbers) {
  EXPECT_EQ(numberDescription(0x1p53), "9007199254740992.0");
  EXPECT_EQ(numberDescription(0x1p53 + 2), "9.007199254740994e+15");
  EXPECT_EQ(numberDescription(0x1p24F), "16777216.0");
  EXPECT_EQ(numberDescription(0x1p24F + 2), "1.6777218e+07");
}

TEST(NumberDescription, NamesInfinityAndNaN) {
  EXPECT_EQ(numberDescription(std::numeric_limits<double>::infinity()), "inf");
  EXPECT_EQ(numberDescription(-std::numeric_limits<float>::infinity()), "-inf");
  EXPECT_EQ(numberDescription(std::numeric_limits<double>::quiet_NaN()), "nan");
  EXPECT_EQ(numberDescription(-std::numeric_limits<double>::quiet_NaN()), "nan");
}

}  // namespace
}  // namespace Tessaly
