// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <string_view>

#include "Tessaly/FoundationExtensions/Character+Emoji.hpp"

namespace {

using namespace Tessaly;

TEST(CharacterEmoji, IsSimpleFromU238DOn) {
  for (const std::string_view character : {"😀", "⏏", "❤", "\U0001F1EB", "🇫🇷", "❤\uFE0F"}) {
    EXPECT_TRUE(Character::isSimpleEmoji(character)) << character;
    EXPECT_TRUE(Character::isEmoji(character)) << character;
  }
  // U+231A, U+2328 and U+2122 have the property, but are below U+238D.
  for (const std::string_view character :
       {"1", "#", "*", "©", "®", "⌚", "⌨", "™", "a", "漢", "\u200D", "\uFE0F", "\u20E3", ""}) {
    EXPECT_FALSE(Character::isSimpleEmoji(character)) << character;
    EXPECT_FALSE(Character::isCombinedIntoEmoji(character)) << character;
    EXPECT_FALSE(Character::isEmoji(character)) << character;
  }
}

TEST(CharacterEmoji, IsCombinedWithAtLeastTwoScalars) {
  for (const std::string_view character :
       {"1\u20E3", "1\uFE0F\u20E3", "©\uFE0F", "⌚\uFE0F", "👍🏽", "👨‍👩‍👧‍👦", "🇫🇷", "7\u0301"}) {
    EXPECT_TRUE(Character::isCombinedIntoEmoji(character)) << character;
    EXPECT_TRUE(Character::isEmoji(character)) << character;
  }
  for (const std::string_view character : {"e\u0301", "e\U0001F3FB", "\r\n", "क्ष", "\u0600😀"}) {
    EXPECT_FALSE(Character::isEmoji(character)) << character;
  }
  EXPECT_FALSE(Character::isCombinedIntoEmoji("😀"));
}

TEST(CharacterEmoji, OnlyTheFirstCharacterCounts) {
  EXPECT_TRUE(Character::isEmoji("😀abc"));
  EXPECT_FALSE(Character::isEmoji("12"));
  EXPECT_FALSE(Character::isCombinedIntoEmoji("😀😀"));
}

TEST(CharacterEmoji, IllFormedBytesCountAsReplacementCharacters) {
  for (const std::string_view character : {"\xFF", "\xF0\x9F\x98", "\x80\uFE0F"}) {
    EXPECT_FALSE(Character::isEmoji(character));
  }
}

}  // namespace
