// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <unicode/uchar.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "Tessaly/Core/Text/EmojiSearch.hpp"
#include "Tessaly/Core/Text/GraphemeClusters.hpp"
#include "Tessaly/Core/Text/UTF8.hpp"
#include "UnicodeData.hpp"

namespace Tessaly::inline v1::Text {
namespace {

/// Character by character, with ICU's properties.
bool containsEmojiSlowly(std::string_view text) {
  for (const std::string_view character : GraphemeClusters(text)) {
    const DecodedScalar first = decodeScalar(character, 0);
    if (u_hasBinaryProperty(static_cast<UChar32>(first.scalar), UCHAR_EMOJI) == 0) continue;
    if (first.scalar >= 0x238D || first.length < character.size()) return true;
  }
  return false;
}

TEST(ContainsEmoji, KnowsEveryScalarAloneAndWithAVariationSelector) {
  const auto emoji = Tests::scalarsInUnicode15("emoji/emoji-data.txt", "Emoji");
  for (char32_t scalar = 0; scalar < 0x110000; ++scalar) {
    if (scalar >= 0xD800 && scalar <= 0xDFFF) continue;
    std::string text;
    appendScalar(text, scalar);
    ASSERT_EQ(containsEmoji(text), emoji[scalar] && scalar >= 0x238D) << std::uint32_t{scalar};
    ASSERT_EQ(containsEmoji("some text\n" + text + "\uFE0F and more"), emoji[scalar]) << std::uint32_t{scalar};
  }
}

TEST(ContainsEmoji, FindsEveryEmojiOfTheUnicodeFiles) {
  int found = 0;
  for (const char* name : {"emoji/emoji-sequences.txt", "emoji/emoji-zwj-sequences.txt", "emoji/emoji-test.txt"}) {
    for (const auto& fields : Tests::readUnicodeData(name)) {
      std::vector<std::string> texts;
      if (fields[0].find("..") != std::string::npos) {
        const auto range = Tests::readRange(fields[0]);
        for (char32_t scalar = range.first; scalar <= range.last; ++scalar) appendScalar(texts.emplace_back(), scalar);
      } else {
        texts.emplace_back();
        for (std::size_t at = 0; at < fields[0].size();) {
          std::size_t length = 0;
          appendScalar(texts[0], static_cast<char32_t>(std::stoul(fields[0].substr(at), &length, 16)));
          at += length;
        }
      }
      for (const std::string& text : texts) {
        if (std::ranges::any_of(Scalars(text), Tests::isYoungerThanUnicode15)) continue;
        // Scalars from U+238D on count alone. Earlier ones, such as U+231A, need a selector.
        const bool isBareAndLow = decodeScalar(text, 0).scalar < 0x238D && decodeScalar(text, 0).length == text.size();
        EXPECT_EQ(containsEmoji("a\n" + text + "."), !isBareAndLow) << name << ": " << fields[0];
        EXPECT_EQ(graphemeClusterCount(text), 1) << name << ": " << fields[0];
        ++found;
      }
    }
  }
  EXPECT_GT(found, 7000);
}

TEST(ContainsEmoji, ChecksOnlyTheFirstScalarOfACharacter) {
  EXPECT_FALSE(containsEmoji("e\U0001F3FB"));       // A skin tone after a letter.
  EXPECT_FALSE(containsEmoji("\u0600\U0001F600"));  // After a prepended sign.
  EXPECT_TRUE(containsEmoji("e\u200D\U0001F600"));  // The joiner belongs to the letter, and the face stands alone.
  EXPECT_TRUE(containsEmoji("\u0600\U0001F1EB\U0001F1F7\U0001F1E9"));
  EXPECT_FALSE(containsEmoji("\u0600\U0001F1EB\U0001F1F7"));
}

TEST(ContainsEmoji, AgreesWithAWalkThroughAllCharacters) {
  const std::u32string_view pool =
      U"a1#*0 \r\n\u0301\uFE0F\u20E3\u200D\u0600\U0001F600\U0001F3FB\U0001F1EB\U0001F1E9©™⌚❤क्ष漢\u1100\u1161\uFFFD";
  std::mt19937 random(9);
  int found = 0;
  for (int round = 0; round < 100'000; ++round) {
    std::string text(random() % 3 == 0 ? random() % 40 : 0, 'x');
    for (std::size_t length = random() % 8; length > 0; --length) {
      if (random() % 20 == 0) {
        text += static_cast<char>(random());
      } else {
        appendScalar(text, pool[random() % (random() % 2 == 0 ? 13 : pool.size())]);
      }
    }
    const bool expected = containsEmojiSlowly(text);
    found += expected ? 1 : 0;
    ASSERT_EQ(containsEmoji(text), expected) << testing::PrintToString(text);
  }
  EXPECT_GT(found, 10'000);
}

}  // namespace
}  // namespace Tessaly::inline v1::Text
