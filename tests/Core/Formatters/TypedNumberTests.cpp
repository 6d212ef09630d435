// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Tessaly/Core/Formatters/detail/TypedNumber.hpp"

namespace Tessaly {
namespace {

using detail::typedText;
using Strings = std::vector<std::string>;

/// The readings in ASCII, the best one first.
Strings readings(std::string_view text, std::string_view separator = ".") {
  Strings result;
  for (const detail::TypedNumber& number : typedText(text, separator).readings) {
    result.push_back((number.isNegative ? "-" : "") + number.integer +
                     (number.fraction.empty() ? "" : "." + number.fraction));
  }
  return result;
}

TEST(TypedNumber, WhiteSpaceAroundNumberIsIgnored) {
  EXPECT_EQ(readings(" 42 "), (Strings{"42"}));
  EXPECT_EQ(readings("\u00A042\u202F"), (Strings{"42"}));
  EXPECT_EQ(readings("- 42"), (Strings{"-42"}));
}

TEST(TypedNumber, EveryMinusSignIsRead) {
  for (const char* minus : {"-", "\u2010", "\u2011", "\u2012", "\u2013", "\u2212", "\uFE63", "\uFF0D", "\u200E-",
                            "\u200E\u2212", "\u061C-", "-\u200F"}) {
    EXPECT_EQ(readings(minus + std::string("5")), (Strings{"-5"})) << minus;
  }
  EXPECT_EQ(readings("+5"), (Strings{"5"}));
  EXPECT_EQ(readings("-+5"), (Strings{"-5"}));
}

TEST(TypedNumber, DigitsOfEveryScriptAreRead) {
  EXPECT_EQ(readings("٤٢٫٥", "٫"), (Strings{"42.5"}));
  EXPECT_EQ(readings("४२"), (Strings{"42"}));
}

TEST(TypedNumber, SeparatorThatCannotGroupIsDecimal) {
  EXPECT_EQ(readings("2.5", ","), (Strings{"2.5"}));
  EXPECT_EQ(readings("5,5", "."), (Strings{"5.5"}));
  EXPECT_EQ(readings("5,5", "٫"), (Strings{"5.5"}));
  EXPECT_EQ(readings(".5"), (Strings{"0.5"}));
  EXPECT_EQ(readings("5."), (Strings{"5"}));
}

TEST(TypedNumber, ThreeDigitsHaveTwoReadings) {
  EXPECT_EQ(readings("1.234", ","), (Strings{"1234", "1.234"}));
  EXPECT_EQ(readings("1.234", "."), (Strings{"1.234", "1234"}));
}

TEST(TypedNumber, GroupsAreRead) {
  EXPECT_EQ(readings("1,234.5"), (Strings{"1234.5"}));
  EXPECT_EQ(readings("1.234,5", "."), (Strings{"1234.5"}));
  EXPECT_EQ(readings("1 234 567"), (Strings{"1234567"}));
  EXPECT_EQ(readings("12,34,567"), (Strings{"1234567"}));
  EXPECT_EQ(readings("1’234.5"), (Strings{"1234.5"}));
}

TEST(TypedNumber, OtherTextHasNoReading) {
  for (const char* text : {"x", "1x", "1e3", "1.2.3", "1,2.3,4", "4 2", "--5", "+-5", "5-", "1234,567,8", "∞"}) {
    EXPECT_EQ(readings(text), Strings()) << text;
    EXPECT_FALSE(typedText(text, ".").isBeginning) << text;
  }
}

TEST(TypedNumber, TextWithoutDigitIsABeginning) {
  for (const char* text : {"", " ", "-", "+", ".", "-,"}) {
    EXPECT_TRUE(typedText(text, ".").isBeginning) << text;
    EXPECT_EQ(readings(text), Strings()) << text;
  }
  EXPECT_TRUE(typedText("-", ".").isNegative);
  EXPECT_FALSE(typedText("+", ".").isNegative);
  EXPECT_FALSE(typedText("..", ".").isBeginning);
}

}  // namespace
}  // namespace Tessaly
