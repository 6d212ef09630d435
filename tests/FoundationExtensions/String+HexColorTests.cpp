// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "Tessaly/FoundationExtensions/String+HexColor.hpp"
#include "tests/Support/Allocations.hpp"

namespace {

using namespace Tessaly;
using Integers = String::ColorIntegerComponents;
using Numbers = String::ColorComponents;

TEST(HexColor, ParsesThreeFourSixAndEightDigits) {
  EXPECT_EQ(String::hexColorIntegerComponents("#F80"), Integers(255, 136, 0, 255));
  EXPECT_EQ(String::hexColorIntegerComponents("F80"), Integers(255, 136, 0, 255));
  EXPECT_EQ(String::hexColorIntegerComponents("#1234"), Integers(17, 34, 51, 68));
  EXPECT_EQ(String::hexColorIntegerComponents("ff8000"), Integers(255, 128, 0, 255));
  EXPECT_EQ(String::hexColorIntegerComponents("11223344"), Integers(17, 34, 51, 68));
  EXPECT_EQ(String::hexColorIntegerComponents("#AbCdEf"), Integers(0xAB, 0xCD, 0xEF, 255));
}

TEST(HexColor, RefusesOtherNumbersOfDigits) {
  for (const std::string text : {"", "#", "1", "#1", "12", "12345", "#12345", "1234567", "123456789", "#123456789"}) {
    EXPECT_EQ(String::hexColorIntegerComponents(text), std::nullopt) << text;
    EXPECT_EQ(String::hexColorComponents(text), std::nullopt) << text;
  }
}

TEST(HexColor, DropsOneSignOnly) {
  EXPECT_EQ(String::hexColorIntegerComponents("##F80"), std::nullopt);
  EXPECT_EQ(String::hexColorIntegerComponents("##F8"), std::nullopt);
  EXPECT_EQ(String::hexColorIntegerComponents("F80#"), std::nullopt);
  EXPECT_EQ(String::hexColorIntegerComponents("#\u0301F80"), std::nullopt);
}

TEST(HexColor, AcceptsOnlyASCIIDigits) {
  for (int byte = 0; byte < 256; ++byte) {
    const std::string text(3, static_cast<char>(byte));
    EXPECT_EQ(String::hexColorIntegerComponents(text).has_value(), byte < 0x80 && std::isxdigit(byte) != 0) << byte;
  }
  for (const std::string text : {"Ｆ80", "ＦＦＦ", "-12", "+12", "0x1", " 12", "12 ", "F8\u0301", "\xFF\xFF\xFF"}) {
    EXPECT_EQ(String::hexColorIntegerComponents(text), std::nullopt) << text;
  }
}

TEST(HexColor, ParsesEveryByte) {
  for (int byte = 0; byte < 256; ++byte) {
    char text[10];
    std::snprintf(text, sizeof text, byte % 2 == 0 ? "#%02x%02X%02x%02X" : "%02x%02X%02x%02X", byte, 255 - byte, byte,
                  byte);
    EXPECT_EQ(String::hexColorIntegerComponents(text), Integers(byte, 255 - byte, byte, byte)) << text;
  }
}

TEST(HexColor, ComponentsAreDividedBy255) {
  EXPECT_EQ(String::hexColorComponents("#ffffff"), Numbers(1.0, 1.0, 1.0, 1.0));
  EXPECT_EQ(String::hexColorComponents("#00000000"), Numbers(0.0, 0.0, 0.0, 0.0));
  EXPECT_EQ(String::hexColorComponents("F80"), Numbers(1.0, 136 / 255.0, 0.0, 1.0));
}

TEST(HexColor, AllocatesNothing) {
  EXPECT_EQ(Tests::allocationsOf([] { EXPECT_TRUE(String::hexColorComponents("#11223344")); }), 0);
}

}  // namespace
