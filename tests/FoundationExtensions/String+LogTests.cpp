// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <string>

#include "Tessaly/FoundationExtensions/String+Log.hpp"

namespace {

using namespace Tessaly;

TEST(StringLog, JoinsLines) { EXPECT_EQ(String::log("a \n\n  b\tc"), "a b c"); }

TEST(StringLog, TextWithoutWhiteSpaceStaysUnchanged) {
  EXPECT_EQ(String::log(""), "");
  EXPECT_EQ(String::log("abc"), "abc");
  EXPECT_EQ(String::log("né🇫🇷"), "né🇫🇷");
}

TEST(StringLog, KeepsOneBlankAtEitherEnd) {
  EXPECT_EQ(String::log("  a\n"), " a ");
  EXPECT_EQ(String::log("\r\n"), " ");
}

TEST(StringLog, RecognisesEveryWhiteSpaceCharacter) {
  for (const std::string space : {"\t", "\n", "\v", "\f", "\r", " ", "\u0085", "\u00A0", "\u1680", "\u2000", "\u2005",
                                  "\u200A", "\u2028", "\u2029", "\u202F", "\u205F", "\u3000"}) {
    EXPECT_EQ(String::log("a" + space + "b"), "a b");
    EXPECT_EQ(String::log("a" + space + space + " b"), "a b");
  }
}

TEST(StringLog, KeepsOtherInvisibleCharacters) {
  for (const std::string other : {"\u200B", "\uFEFF", "\u180E", "\u200D", "\x01"}) {
    EXPECT_EQ(String::log("a" + other + "b"), "a" + other + "b");
  }
}

TEST(StringLog, KeepsBytesThatAreNotUTF8) {
  EXPECT_EQ(String::log("a\xFF  \xC2"), "a\xFF \xC2");
  EXPECT_EQ(String::log("\xE2\x80 x"), "\xE2\x80 x");
  EXPECT_EQ(String::log(std::string_view("a\0 \0b", 5)), std::string("a\0 \0b", 5));
}

}  // namespace
