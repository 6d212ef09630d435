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

using Tests::readRange;
using Tests::readUnicodeData;

constexpr char32_t scalarCount = 0x110000;

std::vector<bool> scalarsWithProperty(const std::string& file, const std::string& property) {
  std::vector<bool> scalars(scalarCount);
  for (const auto& fields : readUnicodeData(file)) {
    if (fields.size() < 2 || fields[1] != property) continue;
    const auto range = readRange(fields[0]);
    for (char32_t scalar = range.first; scalar <= range.last; ++scalar) scalars[scalar] = true;
  }
  return scalars;
}

TEST(Characters, GeneralCategoriesAreThoseOfTheUnicodeCharacterDatabase) {
  std::vector<std::string> expected(scalarCount, "Cn");
  for (const auto& fields : readUnicodeData("extracted/DerivedGeneralCategory.txt")) {
    const auto range = readRange(fields[0]);
    for (char32_t scalar = range.first; scalar <= range.last; ++scalar) expected[scalar] = fields[1];
  }
  std::size_t differences = 0;
  for (char32_t scalar = 0; scalar < scalarCount; ++scalar) {
    if (description(generalCategory(scalar)) != expected[scalar]) ++differences;
  }
  EXPECT_EQ(differences, 0u);
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
  const auto expected = scalarsWithProperty("PropList.txt", "White_Space");
  for (char32_t scalar = 0; scalar < scalarCount; ++scalar) {
    ASSERT_EQ(isWhiteSpace(scalar), expected[scalar]) << static_cast<std::uint32_t>(scalar);
  }
  EXPECT_TRUE(isWhiteSpace(U'\u00A0'));
  EXPECT_FALSE(isWhiteSpace(U'\u200B'));
  EXPECT_FALSE(isWhiteSpace(U'\uFEFF'));
}

TEST(Characters, EmojiAreThoseOfTheUnicodeCharacterDatabase) {
  const auto expected = scalarsWithProperty("emoji/emoji-data.txt", "Emoji");
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
