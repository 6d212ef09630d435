// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "Tessaly/Core/Text/Characters.hpp"
#include "UnicodeData.hpp"

namespace Tessaly::inline v1::Text {
namespace {

using Tests::scalarCount;
using Tests::scalarsInUnicode15;

TEST(Characters, GeneralCategoriesAreThoseOfTheUnicodeCharacterDatabase) {
  const auto expected = Tests::valuesInUnicode15("extracted/DerivedGeneralCategory.txt", "Cn");
  std::size_t younger = 0;
  std::set<char32_t> changed;
  for (char32_t scalar = 0; scalar < scalarCount; ++scalar) {
    if (Tests::isYoungerThanUnicode15(scalar)) {
      ++younger;
      EXPECT_EQ(expected[scalar], "Cn") << static_cast<std::uint32_t>(scalar);
      EXPECT_NE(generalCategory(scalar), GeneralCategory::unassigned) << static_cast<std::uint32_t>(scalar);
    } else if (description(generalCategory(scalar)) != expected[scalar]) {
      changed.insert(scalar);
    }
  }
  // Unicode 15.1 and 16.0 added 5,812 characters. Unicode 16.0 changed the category of an old one, from Mn to Mc.
  const bool isYoung = Tests::isICUYoungerThanUnicode15();
  EXPECT_EQ(younger, isYoung ? 5'812u : 0u);
  EXPECT_EQ(changed, isYoung ? (std::set<char32_t>{0x1171E}) : std::set<char32_t>());
}

TEST(Characters, NumbersAboveTheLastScalarAreUnassigned) {
  EXPECT_EQ(generalCategory(0x110000), GeneralCategory::unassigned);
  EXPECT_EQ(generalCategory(0xFFFFFFFF), GeneralCategory::unassigned);
  EXPECT_FALSE(isPunctuation(0xFFFFFFFF));
  EXPECT_FALSE(isWhiteSpace(0xFFFFFFFF));
  EXPECT_FALSE(isEmoji(0xFFFFFFFF));
}

TEST(Characters, PunctuationHasOneOfSevenCategories) {
  const std::set<std::string_view> categories{"Pc", "Pd", "Ps", "Pe", "Pi", "Pf", "Po"};
  for (char32_t scalar = 0; scalar < scalarCount; ++scalar) {
    ASSERT_EQ(isPunctuation(scalar), categories.contains(description(generalCategory(scalar))))
        << static_cast<std::uint32_t>(scalar);
  }
}

TEST(Characters, KeyboardSymbolsAreNotPunctuation) {
  for (const char32_t scalar : std::u32string_view(U"!.,;:?#%*_-/\\@&…—“”")) {
    EXPECT_TRUE(isPunctuation(scalar)) << static_cast<std::uint32_t>(scalar);
  }
  for (const char32_t scalar : U"$+<=>^`|~😀a1 ")
    EXPECT_FALSE(isPunctuation(scalar)) << static_cast<std::uint32_t>(scalar);
}

TEST(Characters, WhiteSpaceIsThatOfTheUnicodeCharacterDatabase) {
  const auto expected = scalarsInUnicode15("PropList.txt", "White_Space");
  for (char32_t scalar = 0; scalar < scalarCount; ++scalar) {
    ASSERT_EQ(isWhiteSpace(scalar), expected[scalar]) << static_cast<std::uint32_t>(scalar);
  }
  EXPECT_TRUE(isWhiteSpace(U'\u00A0'));
  EXPECT_FALSE(isWhiteSpace(U'\u200B'));
  EXPECT_FALSE(isWhiteSpace(U'\uFEFF'));
}

TEST(Characters, EmojiAreThoseOfTheUnicodeCharacterDatabase) {
  const auto expected = scalarsInUnicode15("emoji/emoji-data.txt", "Emoji");
  for (char32_t scalar = 0; scalar < scalarCount; ++scalar) {
    ASSERT_EQ(isEmoji(scalar), expected[scalar]) << static_cast<std::uint32_t>(scalar);
  }
  EXPECT_TRUE(isEmoji(U'#'));
  EXPECT_FALSE(isEmoji(U'\u200D'));
}

TEST(Characters, ACategoryIsWrittenAsItsAbbreviation) {
  std::ostringstream stream;
  stream << GeneralCategory::uppercaseLetter << GeneralCategory::unassigned << generalCategory(U'€');
  EXPECT_EQ(stream.str(), "LuCnSc");
}

}  // namespace
}  // namespace Tessaly::inline v1::Text
