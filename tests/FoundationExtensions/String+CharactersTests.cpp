// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "Tessaly/FoundationExtensions/String+Characters.hpp"
#include "tests/Support/Allocations.hpp"

namespace {

using namespace Tessaly;

TEST(StringContainsEmoji, FindsAnEmoji) {
  EXPECT_FALSE(String::containsEmoji(""));
  EXPECT_FALSE(String::containsEmoji("Call me at 10 © #1 * ™"));
  EXPECT_TRUE(String::containsEmoji("Hi 👍🏽"));
  EXPECT_TRUE(String::containsEmoji("1\u20E3"));
  EXPECT_TRUE(String::containsEmoji("©\uFE0F"));
  EXPECT_TRUE(String::containsEmoji(std::string(10'000, 'x') + "🇫🇷"));
  EXPECT_FALSE(String::containsEmoji("\xF0\x9F\x98"));
}

TEST(StringContainsEmoji, AllocatesNothing) {
  const std::string text = std::string(1000, 'x') + "漢字 né क्ष 1";
  EXPECT_EQ(Tests::allocationsOf([&] { EXPECT_FALSE(String::containsEmoji(text)); }), 0);
}

TEST(StringTruncated, AddsDotsToTheFirstCharacters) {
  EXPECT_EQ(String::truncated("abc", 2), "ab...");
  EXPECT_EQ(String::truncated("abc", 0), "...");
  EXPECT_EQ(String::truncated("", 0), "...");
}

TEST(StringTruncated, AddsDotsToATextOfExactlyThatLength) { EXPECT_EQ(String::truncated("abc", 3), "abc..."); }

TEST(StringTruncated, ShorterTextStaysUnchanged) {
  EXPECT_EQ(String::truncated("abc", 4), "abc");
  EXPECT_EQ(String::truncated("", 1), "");
  EXPECT_EQ(String::truncated("abc", std::numeric_limits<std::int64_t>::max()), "abc");
}

TEST(StringTruncated, CountsCharacters) {
  EXPECT_EQ(String::truncated("👨‍👩‍👧‍👦e\u0301\r\nक्षx", 3),
            "👨‍👩‍👧‍👦e\u0301\r\n...");
  EXPECT_EQ(String::truncated("\xFF\xE2\x82z", 2), "\xFF\xE2\x82...");
}

TEST(StringTruncatedDeathTest, ANegativeLengthStopsTheProcess) {
  EXPECT_DEATH(static_cast<void>(String::truncated("abc", -1)),
               "Tessaly/String\\+Characters:.*: Fatal error: A text cannot be truncated to a negative length");
}

TEST(StringFirstCharacter, FirstCharacterBecomesUpperCase) {
  EXPECT_EQ(String::firstCharacterUppercased("hello World"), "Hello World");
  EXPECT_EQ(String::firstCharacterUppercased("ßa"), "SSa");
  EXPECT_EQ(String::firstCharacterUppercased("ﬁx"), "FIx");
  EXPECT_EQ(String::firstCharacterUppercased("e\u0301tude"), "E\u0301tude");
  EXPECT_EQ(String::firstCharacterUppercased("éa"), "Éa");
  EXPECT_EQ(String::firstCharacterUppercased("1a"), "1a");
  EXPECT_EQ(String::firstCharacterUppercased(""), "");
  std::string text = "ǆx";
  String::uppercaseFirstCharacter(text);
  EXPECT_EQ(text, "Ǆx");
  text.clear();
  String::uppercaseFirstCharacter(text);
  EXPECT_EQ(text, "");
}

TEST(StringFirstCharacter, IllFormedFirstCharacterStaysUnchanged) {
  EXPECT_EQ(String::firstCharacterUppercased("\xFFgh"), "\xFFgh");
  EXPECT_EQ(String::firstCharacterUppercased("a\xFF"), "A\xFF");
}

TEST(StringLastPointRemoved, RemovesOneFullStop) {
  EXPECT_EQ(String::lastPointRemoved("end."), "end");
  EXPECT_EQ(String::lastPointRemoved("end.."), "end.");
  EXPECT_EQ(String::lastPointRemoved("."), "");
  EXPECT_EQ(String::lastPointRemoved(""), "");
  EXPECT_EQ(String::lastPointRemoved("end"), "end");
  EXPECT_EQ(String::lastPointRemoved("end. "), "end. ");
  EXPECT_EQ(String::lastPointRemoved("end.\u0301"), "end.\u0301");
  EXPECT_EQ(String::lastPointRemoved("end。"), "end。");
  EXPECT_EQ(String::lastPointRemoved("\xFF."), "\xFF");
  const std::string text = "view.";
  EXPECT_EQ(String::lastPointRemoved(text).data(), text.data());
}

}  // namespace
