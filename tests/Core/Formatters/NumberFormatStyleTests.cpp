// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <unicode/currunit.h>
#include <unicode/numberformatter.h>
#include <unicode/numberrangeformatter.h>

#include <limits>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "Tessaly/Core/Formatters/CurrencyFormatStyle.hpp"
#include "Tessaly/Core/Formatters/NumberFormatStyle.hpp"
#include "Tessaly/Core/Formatters/PercentFormatStyle.hpp"
#include "tests/Core/Formatters/AllLocales.hpp"
#include "tests/Support/GoldenRows.hpp"

namespace Tessaly {
namespace {

using icu::number::Precision;
using Width = CurrencyFormatStyle::Width;
using Sign = CurrencyFormatStyle::Sign;
constexpr double infinity = std::numeric_limits<double>::infinity();

NumberFormatStyle numbers(const std::string& locale) { return NumberFormatStyle().locale(Locale(locale)); }
PercentFormatStyle percents(const std::string& locale) { return PercentFormatStyle().locale(Locale(locale)); }
CurrencyFormatStyle money(std::string_view code, const std::string& locale) {
  return CurrencyFormatStyle(code).locale(Locale(locale));
}

template <typename Value>
concept CanBeFormatted = requires(NumberFormatStyle style, Value value) { style.format(value); };

TEST(NumberFormatStyle, FormatsNoTruthValuesAndNoCharacters) {
  EXPECT_TRUE((CanBeFormatted<int> && CanBeFormatted<unsigned char> && CanBeFormatted<std::uint64_t>));
  EXPECT_TRUE((CanBeFormatted<float> && CanBeFormatted<double>));
  EXPECT_FALSE((CanBeFormatted<bool> || CanBeFormatted<char> || CanBeFormatted<wchar_t>));
  EXPECT_FALSE((CanBeFormatted<char8_t> || CanBeFormatted<char16_t> || CanBeFormatted<char32_t>));
}

TEST(NumberFormatStyle, WritesTheGoldenTexts) {
  for (const auto& row : Tests::goldenRows("number", "texts")) {
    EXPECT_EQ(numbers(row.locale).format(std::stod(row.input)), row.output) << row.locale << ' ' << row.input;
  }
}

TEST(PercentFormatStyle, WritesTheGoldenTexts) {
  for (const auto& row : Tests::goldenRows("percent", "texts")) {
    EXPECT_EQ(percents(row.locale).fractionDigits(0, 1).format(std::stod(row.input)), row.output)
        << row.locale << ' ' << row.input;
  }
}

TEST(CurrencyFormatStyle, WritesTheGoldenTexts) {
  for (const auto& row : Tests::goldenRows("currency", "texts")) {
    const std::string code = row.input.substr(0, 3);
    EXPECT_EQ(money(code, row.locale).format(std::stod(row.input.substr(4))), row.output)
        << row.locale << ' ' << row.input;
  }
}

/// Numbers of every size and sign, the same in each run.
std::vector<double> someNumbers() {
  std::vector<double> values{
      0,         -0.0,      1,         -1,      2,      5,        11,        21,
      0.5,       -0.004,    1.5,       2.675,   999.9,  1000,     1234.5,    -1234.5,
      9999.9996, 12'345.67, 99'999.99, 123'456, 1e6,    1e15,     1e19,      1e21,
      1.005,     0.575,     1e-7,      5e-324,  -1e300, infinity, -infinity, std::numeric_limits<double>::quiet_NaN()};
  std::mt19937_64 random(11);
  for (int turn = 0; turn < 20; ++turn) {
    values.push_back(static_cast<double>(static_cast<std::int64_t>(random()) >> (random() % 63)) / 1000);
  }
  return values;
}

template <typename Style>
void compare(const Style& style, const icu::number::LocalizedNumberFormatter& peer, const std::string& what) {
  UErrorCode status = U_ZERO_ERROR;
  // The first few texts of a formatter go another way in ICU, which garbles the names of currencies in "en_DE".
  for (int turn = 0; turn < 5; ++turn) peer.formatDouble(1, status);
  for (const double value : someNumbers()) {
    EXPECT_EQ(style.format(value), Tests::utf8(peer.formatDouble(value, status).toString(status)))
        << what << ' ' << value;
  }
}

icu::Locale localeOfICU(const std::string& name) { return icu::Locale(name.c_str()); }

TEST(NumberFormatStyle, WritesInEveryLocaleAsICUDoes) {
  for (const std::string& name : Tests::comparedLocales()) {
    const auto peer = icu::number::NumberFormatter::withLocale(localeOfICU(name));
    compare(numbers(name), peer.precision(Precision::maxFraction(3)), name);
    compare(numbers(name).fractionDigits(2).grouping(false),
            peer.precision(Precision::fixedFraction(2)).grouping(UNUM_GROUPING_OFF), name);
  }
}

TEST(PercentFormatStyle, WritesInEveryLocaleAsICUDoes) {
  for (const std::string& name : Tests::comparedLocales()) {
    const auto peer = icu::number::NumberFormatter::withLocale(localeOfICU(name))
                          .unit(icu::NoUnit::percent())
                          .scale(icu::number::Scale::powerOfTen(2));
    compare(percents(name), peer.precision(Precision::integer()), name);
    compare(percents(name).fractionDigits(1, 2), peer.precision(Precision::minMaxFraction(1, 2)), name);
  }
}

TEST(CurrencyFormatStyle, WritesInEveryLocaleAsICUDoes) {
  for (const std::string& name : Tests::comparedLocales()) {
    for (const char16_t* code : {u"EUR", u"JPY", u"CHF", u"PTE", u"QQQ"}) {
      UErrorCode status = U_ZERO_ERROR;
      const icu::CurrencyUnit unit(code, status);
      const auto peer = icu::number::NumberFormatter::withLocale(localeOfICU(name)).unit(unit);
      const std::string letters = Tests::utf8(code);
      compare(money(letters, name), peer, name + letters);
      compare(money(letters, name).sign(Sign::accounting), peer.sign(UNUM_SIGN_ACCOUNTING), name + letters);
      compare(money(letters, name).width(Width::narrowSymbol), peer.unitWidth(UNUM_UNIT_WIDTH_NARROW), name + letters);
      compare(money(letters, name).width(Width::code), peer.unitWidth(UNUM_UNIT_WIDTH_ISO_CODE), name + letters);
      compare(money(letters, name).width(Width::wide), peer.unitWidth(UNUM_UNIT_WIDTH_FULL_NAME), name + letters);
    }
  }
}

TEST(NumberFormatStyle, WritesRangesInEveryLocaleAsICUDoes) {
  const std::pair<double, double> ranges[] = {{3, 5},        {4, 6},           {0, 0.5},         {2, 2},
                                              {-3, 5},       {-5, -3.5},       {5, 3},           {1, 1e6},
                                              {0, infinity}, {1234.5, 99'999}, {2.0001, 2.00011}};
  for (const std::string& name : Tests::comparedLocales()) {
    UErrorCode status = U_ZERO_ERROR;
    const auto common = icu::number::NumberFormatter::with();
    const auto compareRanges = [&](const auto& style, const icu::number::UnlocalizedNumberFormatter& each) {
      const auto peer = icu::number::NumberRangeFormatter::withLocale(localeOfICU(name)).numberFormatterBoth(each);
      for (const auto& [lower, upper] : ranges) {
        EXPECT_EQ(style.formatRange(lower, upper),
                  Tests::utf8(peer.formatFormattableRange(lower, upper, status).toString(status)))
            << name << ' ' << lower << ' ' << upper;
      }
    };
    compareRanges(numbers(name), common.precision(Precision::maxFraction(3)));
    compareRanges(
        percents(name),
        common.unit(icu::NoUnit::percent()).scale(icu::number::Scale::powerOfTen(2)).precision(Precision::integer()));
    compareRanges(money("EUR", name), common.unit(icu::CurrencyUnit(u"EUR", status)));
  }
}

TEST(NumberFormatStyle, LosesNoDigitOfAnInteger) {
  EXPECT_EQ(numbers("en").format(std::numeric_limits<std::int64_t>::max()), "9,223,372,036,854,775,807");
  EXPECT_EQ(numbers("en").format(std::numeric_limits<std::int64_t>::min()), "-9,223,372,036,854,775,808");
  EXPECT_EQ(numbers("en").format((std::int64_t{1} << 53) + 1), "9,007,199,254,740,993");
  EXPECT_EQ(numbers("en").format(7U), "7");
  EXPECT_EQ(numbers("en").format(std::numeric_limits<std::uint64_t>::max()), "18,446,744,073,709,552,000");
}

TEST(NumberFormatStyle, BringsFractionDigitsIntoTheirRange) {
  EXPECT_EQ(numbers("en").fractionDigits(-5).format(1.5), "2");
  EXPECT_EQ(numbers("en").fractionDigits(2, 1).format(1), "1.00");
  EXPECT_EQ(numbers("en").fractionDigits(0, std::numeric_limits<std::int64_t>::max()).format(0.1), "0.1");
  EXPECT_EQ(numbers("en").fractionDigits(std::numeric_limits<std::int64_t>::max()).format(0).size(), 342U);
}

TEST(PercentFormatStyle, MultipliesExactly) {
  EXPECT_EQ(percents("en").format(0.575), "58%");
  EXPECT_EQ(percents("en").fractionDigits(1).format(0.575), "57.5%");
  EXPECT_EQ(percents("en").format(2), "200%");
}

TEST(CurrencyFormatStyle, TakesCodesOfEitherCase) {
  EXPECT_EQ(money("eur", "en").format(1), "€1.00");
  EXPECT_EQ(money("eur", "en"), money("EUR", "en"));
}

TEST(CurrencyFormatStyle, WritesUnknownCodesAsTheyAre) { EXPECT_EQ(money("QQQ", "en").format(1.5), "QQQ\u00A01.50"); }

TEST(CurrencyFormatStyle, WritesTheGenericSignWithoutThreeLetters) {
  for (const char* code : {"", "EU", "EURO", "E1R", "\xFF\xFE\xFD", "€"}) {
    EXPECT_EQ(money(code, "en").format(1.5), "¤1.50") << code;
  }
}

TEST(NumberFormatStyle, WritesInUnknownLocales) {
  for (const std::string& name :
       std::vector<std::string>{"", "xx", "not a locale", "@@@", "\xFF\xFE", std::string(100'000, 'x')}) {
    EXPECT_FALSE(numbers(name).format(1234.5).empty());
    EXPECT_FALSE(money("EUR", name).format(1234.5).empty());
    EXPECT_FALSE(percents(name).formatRange(0.1, 0.2).empty());
  }
}

TEST(NumberFormatStyle, FollowsTheCurrentLocale) {
  const NumberFormatStyle style;
  const Locale german("de");
  const Locale english("en");
  {
    const Locale::Replacement replacement(german);
    EXPECT_EQ(style.format(1234.5), "1.234,5");
  }
  const Locale::Replacement replacement(english);
  EXPECT_EQ(style.format(1234.5), "1,234.5");
}

TEST(NumberFormatStyle, ThreadsShareAStyle) {
  const auto price = money("EUR", "de");
  std::vector<std::jthread> threads;
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([&] {
      for (int turn = 0; turn < 900; ++turn) {
        EXPECT_EQ(price.format(turn + 0.5), std::to_string(turn) + ",50\u00A0€");
      }
    });
  }
}

}  // namespace
}  // namespace Tessaly
