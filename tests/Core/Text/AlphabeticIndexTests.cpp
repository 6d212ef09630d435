// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "Tessaly/Core/Text/AlphabeticIndex.hpp"
#include "Tessaly/Core/Text/Collator.hpp"

namespace Tessaly::inline v1 {
namespace {

std::string label(std::string_view locale, std::string_view text) {
  const AlphabeticIndex index{Locale(locale)};
  return index.labels().at(index.section(text));
}

TEST(AlphabeticIndex, EachLanguageHasItsSections) {
  EXPECT_EQ(label("en", "apple"), "A");
  EXPECT_EQ(label("en", "Éclair"), "E");
  EXPECT_EQ(label("sv", "Örebro"), "Ö");
  EXPECT_EQ(label("de", "Örebro"), "O");
  EXPECT_EQ(label("es", "ñandú"), "Ñ");
  EXPECT_EQ(label("cs", "chata"), "CH");
  EXPECT_EQ(label("ru", "яблоко"), "Я");
  EXPECT_EQ(label("ja", "さくら"), "さ");
  EXPECT_EQ(label("ja", "ぎんこう"), "か");
}

TEST(AlphabeticIndex, OtherTextsHaveAnEllipsis) {
  EXPECT_EQ(label("en", "2023"), "…");
  EXPECT_EQ(label("en", ""), "…");
  EXPECT_EQ(label("en", "яблоко"), "…");
  EXPECT_EQ(label("en", "\xFF"), "…");
}

TEST(AlphabeticIndex, UnknownLocaleHasLatinLetters) { EXPECT_EQ(label("not a locale", "x"), "X"); }

TEST(AlphabeticIndex, SectionsOfASortedListFollowEachOther) {
  for (const char* name : {"en", "sv", "cs", "ja", "ru", "ar", "hu", "en_US_POSIX"}) {
    const Locale locale(name);
    const AlphabeticIndex index(locale);
    std::vector<std::string> texts{"zebra",  "Öl", "apple", "Zug",  "Ångström", "chata", "яблоко",
                                   "さくら", "42", "école", "cz",   "ш",        "ب",     "א",
                                   "漢字",   "ñu", "",      "gyár", "-"};
    std::ranges::sort(texts, Collator(locale));
    std::vector<std::size_t> sections;
    for (const std::string& text : texts) sections.push_back(index.section(text));
    EXPECT_TRUE(std::ranges::is_sorted(sections)) << name;
  }
}

}  // namespace
}  // namespace Tessaly::inline v1
