// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <unicode/locid.h>
#include <unicode/numberformatter.h>

#include <array>
#include <cmath>
#include <limits>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "Tessaly/Core/Formatters/ByteCountFormatStyle.hpp"
#include "tests/Core/Formatters/ByteCountRecipe.hpp"
#include "tests/Support/GoldenRows.hpp"
#include "tests/Support/Repetitions.hpp"

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

TEST(ByteCountFormatStyle, TakesTheNextUnitInsteadOfRoundingToAThousand) {
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
      {"en", "Zero kB"}, {"da", "Nul kB"},       {"it", "Zero kB"},      {"el", "Μηδέν kB"}, {"hr", "Nula kB"},
      {"ro", "Zero kB"}, {"th", "ศูนย์ kB"},       {"ms", "Kosong kB"},    {"ca", "0 kB"},     {"nb", "0 kB"},
      {"no", "0 kB"},    {"ko", "0kB"},          {"sv", "0 kB"},         {"ru", "0 кБ"},     {"zh_CN", "0 kB"},
      {"de", "0 kB"},    {"ar", "صفر كيلوبايت"}, {"fr", "Zéro\u202Fko"}, {"ja", "0 KB"}};
  for (const auto& [locale, word] : words) EXPECT_EQ(text(locale, 0), Tests::withoutMarks(word)) << locale;
}

TEST(ByteCountFormatStyle, WritesInEveryLocaleAsICUDoes) {
  std::int32_t count = 0;
  const icu::Locale* locales = icu::Locale::getAvailableLocales(count);
  std::vector<std::string> names{"no", "iw", "en-US", "ar@numbers=latn", "en@numbers=roman", "zh@numbers=hanidec",
                                 "xx"};
  ASSERT_GT(count, 700);
  const std::int32_t stride = Tests::repetitions(1) > 1 ? 1 : 7;
  for (std::int32_t index = 0; index < count; index += stride) names.emplace_back(locales[index].getName());
  std::mt19937_64 random(7);
  for (const std::string& name : names) {
    Tests::ByteCountRecipe recipe(icu::Locale(name.c_str()));
    ByteCountFormatStyle style;
    style.setLocale(Locale(name));
    const auto compare = [&](std::int64_t number) { EXPECT_EQ(style.format(number), recipe.text(number)) << name; };
    for (const std::int64_t number : {1, 2, 3, 5, 11, 21, 22, 101, 111, 998, 999, 1500, 2500, 999'499}) {
      compare(number);
      compare(-number);
    }
    for (const std::int64_t thousandths :
         {1000, 1005, 1100, 1150, 1500, 1994, 1995, 2000, 2100, 2220, 5000, 5020, 11'000, 21'100}) {
      for (const std::int64_t size : {1'000, 1'000'000, 1'000'000'000}) {
        compare(thousandths * size);
        compare(-thousandths * size);
      }
    }
    for (int turn = 0; turn < 20; ++turn) compare((static_cast<std::int64_t>(random()) >> (random() % 63)) | 1);
  }
}

TEST(ByteCountFormatStyle, WritesZeroAsADigitOnRequest) {
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

TEST(ByteCountFormatStyle, WritesATextInUnknownLocales) {
  for (const char* identifier : {"", "xx", "root", "not a locale", "@@@", "en@numbers=roman", "\xFF\xFE"}) {
    EXPECT_FALSE(text(identifier, 1234).empty()) << identifier;
    EXPECT_FALSE(text(identifier, 0).empty()) << identifier;
  }
  EXPECT_FALSE(text(std::string(100'000, 'x').c_str(), 5).empty());
}

}  // namespace
}  // namespace Tessaly
