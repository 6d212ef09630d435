// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "Tessaly/Platform/Text/ByteCountFormatStyle.hpp"
#include "tests/Support/GoldenRows.hpp"

namespace Tessaly {
namespace {

std::string text(const char* locale, std::int64_t count) {
  ByteCountFormatStyle style;
  style.setLocale(Locale(locale));
  return style.format(count);
}

TEST(ByteCountFormatStyle, WritesWhatTheGoldenRowsSay) {
  for (const auto& row : Tests::goldenRows("bytes")) {
    EXPECT_EQ(text(row.locale.c_str(), std::stoll(row.input)), row.output) << row.locale << ' ' << row.input;
  }
}

TEST(ByteCountFormatStyle, TakesTheNextUnitBeforeItWouldRoundToAThousand) {
  EXPECT_EQ(text("en", 998), "998 bytes");
  EXPECT_EQ(text("en", 999), "1 kB");
  EXPECT_EQ(text("en", 999'498), "999 kB");
  EXPECT_EQ(text("en", 999'499), "1 MB");
  EXPECT_EQ(text("en", 999'949'998), "999.9 MB");
  EXPECT_EQ(text("en", 999'949'999), "1 GB");
  EXPECT_EQ(text("en", 999'994'999'998), "999.99 GB");
  EXPECT_EQ(text("en", 999'994'999'999), "1 TB");
  EXPECT_EQ(text("en", 999'994'999'999'998), "999.99 TB");
  EXPECT_EQ(text("en", 999'994'999'999'999), "1 PB");
  EXPECT_EQ(text("en", -999), "-1 kB");
}

TEST(ByteCountFormatStyle, WritesTheEndsOfItsRange) {
  EXPECT_EQ(text("en", std::numeric_limits<std::int64_t>::max()), "9,223.37 PB");
  EXPECT_EQ(text("en", std::numeric_limits<std::int64_t>::min()), "-9,223.37 PB");
}

TEST(ByteCountFormatStyle, SpellsZeroOnlyInTheLanguagesThatDo) {
  const std::pair<const char*, const char*> words[] = {
      {"en", "Zero kB"},   {"da", "Nul kB"},       {"it", "Zero kB"},      {"el", "Μηδέν kB"},  {"hr", "Nula kB"},
      {"id", "Kosong kB"}, {"ro", "Zero kB"},      {"th", "ศูนย์ kB"},       {"ms", "Kosong kB"}, {"ca", "0 kB"},
      {"nb", "0 kB"},      {"ko", "0kB"},          {"sv", "0 kB"},         {"ru", "0 кБ"},      {"zh_CN", "0 kB"},
      {"de", "0 kB"},      {"ar", "صفر كيلوبايت"}, {"fr", "Zéro\u202Fko"}, {"ja", "0 KB"}};
  for (const auto& [locale, word] : words) EXPECT_EQ(text(locale, 0), Tests::withoutMarks(word)) << locale;
}

TEST(ByteCountFormatStyle, WritesZeroAsADigitWhenTold) {
  ByteCountFormatStyle style;
  style.setLocale(Locale("en"));
  style.setSpellsOutZero(false);
  EXPECT_EQ(style.format(0), "0 kB");
}

TEST(ByteCountFormatStyle, FollowsTheCurrentLocaleAtEveryUse) {
  const ByteCountFormatStyle style;
  const Locale french("fr");
  const Locale german("de");
  {
    Locale::Replacement replacement(french);
    EXPECT_EQ(style.format(1'500'000), "1,5\u202FMo");
  }
  Locale::Replacement replacement(german);
  EXPECT_EQ(style.format(1'500'000), "1,5 MB");
}

TEST(ByteCountFormatStyle, WritesSomethingInLocalesThatNobodyKnows) {
  for (const char* identifier : {"", "xx", "root", "not a locale", "@@@", "en@numbers=roman", "\xFF\xFE"}) {
    EXPECT_FALSE(text(identifier, 1234).empty()) << identifier;
    EXPECT_FALSE(text(identifier, 0).empty()) << identifier;
  }
  EXPECT_FALSE(text(std::string(100'000, 'x').c_str(), 5).empty());
}

}  // namespace
}  // namespace Tessaly
