// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "Tessaly/FoundationExtensions/NSRegularExpression+FirstMatch.hpp"

namespace {

using namespace Tessaly;

TEST(FirstMatch, IsTheTextOfTheFirstMatch) {
  EXPECT_EQ(firstMatch(NSRegularExpression("\\d+"), "Since 1965, or 1969"), "1965");
  EXPECT_EQ(firstMatch(NSRegularExpression("\\d+"), "Since then"), std::nullopt);
  EXPECT_EQ(firstMatch(NSRegularExpression("x*"), "abc"), "");
  EXPECT_EQ(firstMatch(NSRegularExpression("^$"), ""), "");
}

TEST(FirstMatch, SearchesBehindScalarsOfTwoUnits) {
  EXPECT_EQ(firstMatch(NSRegularExpression("é.$"), "😀😀😀é漢"), "é漢");
  EXPECT_EQ(firstMatch(NSRegularExpression("\\p{Emoji_Presentation}"), "a😀b"), "😀");
}

TEST(FirstMatch, ReplacesIllFormedBytes) {
  EXPECT_EQ(firstMatch(NSRegularExpression("a.b"),
                       "xa\xFF"
                       "b"),
            "a\uFFFDb");
}

}  // namespace
