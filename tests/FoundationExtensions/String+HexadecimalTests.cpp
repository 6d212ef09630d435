// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <random>
#include <string>

#include "Tessaly/FoundationExtensions/String+Hexadecimal.hpp"
#include "tests/Support/Allocations.hpp"

namespace {

using namespace Tessaly;
using namespace std::string_literals;

TEST(StringHexString, WritesEachByteWithoutLeadingZeros) {
  EXPECT_EQ(String::hexString("\n"), "A");
  EXPECT_EQ(String::hexString("AB"), "4142");
  EXPECT_EQ(String::hexString(""), "");
  EXPECT_EQ(String::hexString("\0\x0F\x10"s), "0F10");
  EXPECT_EQ(String::hexString("é€"), "C3A9E282AC");
  for (int byte = 0; byte < 0x80; ++byte) {
    char expected[3];
    std::snprintf(expected, sizeof expected, "%X", byte);
    EXPECT_EQ(String::hexString(std::string(1, static_cast<char>(byte))), expected);
  }
}

TEST(StringHexString, WritesReplacementsForIllFormedBytes) {
  EXPECT_EQ(String::hexString("\xFF"), "EFBFBD");
  EXPECT_EQ(String::hexString("A\xE2\x82Z"), "41EFBFBD5A");
}

TEST(StringHexNumbers, ReadTheDigitsAsOneNumber) {
  EXPECT_EQ(String::hexUInt32("ABCD"), 1094861636u);
  EXPECT_EQ(String::hexUInt32("ABCDE"), std::nullopt);
  EXPECT_EQ(String::hexUInt32(""), std::nullopt);
  EXPECT_EQ(String::hexUInt64("ABCDEFGH"), 0x4142434445464748u);
  EXPECT_EQ(String::hexUInt64("ABCDEFGHI"), std::nullopt);
  EXPECT_EQ(String::hexUInt64(""), std::nullopt);
  EXPECT_EQ(String::hexUInt32("\n\n"), 0xAAu);
  EXPECT_EQ(String::hexUInt32("\0"s), 0u);
}

TEST(StringHexNumbers, LeadingZerosDoNotCount) {
  EXPECT_EQ(String::hexUInt32("\0\0\0\0\0\0\0\0\0ABCD"s), 1094861636u);
  EXPECT_EQ(String::hexUInt32("\nABCD"), std::nullopt);
  EXPECT_EQ(String::hexUInt32("\n\n\n\n\n\n\n\n"), 0xAAAAAAAAu);
  EXPECT_EQ(String::hexUInt32("\n\n\n\n\n\n\n\n\n"), std::nullopt);
  EXPECT_EQ(String::hexUInt32("\xFF"), 0xEFBFBDu);
  EXPECT_EQ(String::hexUInt32("\xFF\xFF"), std::nullopt);
}

TEST(StringHexNumbers, NumberEqualsItsDigits) {
  std::mt19937 random(8);
  for (int round = 0; round < 20'000; ++round) {
    std::string text(1 + random() % 9, '\0');
    for (char& byte : text) byte = static_cast<char>(random() % (random() % 2 == 0 ? 16 : 128));
    const std::string digits = String::hexString(text);
    std::string significant = digits.substr(std::min(digits.find_first_not_of('0'), digits.size() - 1));
    const auto expected =
        significant.size() > 16 ? std::nullopt : std::optional<std::uint64_t>(std::stoull(significant, nullptr, 16));
    ASSERT_EQ(String::hexUInt64(text), expected) << digits;
    ASSERT_EQ(String::hexUInt32(text),
              significant.size() > 8 ? std::nullopt : std::optional(static_cast<std::uint32_t>(*expected)));
  }
}

TEST(StringHexNumbers, AllocateNothing) {
  EXPECT_EQ(Tests::allocationsOf([] { EXPECT_TRUE(String::hexUInt64("ABCDEFGH")); }), 0);
}

}  // namespace
