// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unicode/dcfmtsym.h>
#include <unicode/decimfmt.h>
#include <unicode/locid.h>

#include <bit>
#include <cmath>
#include <limits>
#include <random>
#include <string>

#include "Tessaly/Core/Formatters/NumberFormatter.hpp"
#include "tests/Support/GoldenRows.hpp"
#include "tests/Support/Repetitions.hpp"

namespace Tessaly {
namespace {

const char* const someLocales[] = {"en_US", "en_GB", "fr", "de", "es", "ja", "ar", "ar_EG", "pt_BR", "hi",
                                   "sv",    "nb",    "fa", "bn", "pl", "my", "dz", "pt_PT", "de_CH"};

void expectRows(std::string_view formatter, NumberFormatter& numbers) {
  for (const auto& row : Tests::goldenRows(formatter)) {
    numbers.setLocale(Locale(row.locale));
    EXPECT_EQ(numbers.string(std::stod(row.input)), row.output) << formatter << ' ' << row.locale << ' ' << row.input;
  }
}

void configureAsBeats(NumberFormatter& formatter) {
  formatter.setNegativeFormat("~");
  formatter.setPositiveSuffix(" bpm");
  formatter.setNegativeSuffix(" bpm");
  formatter.setMaximumFractionDigits(0);
  formatter.setRoundingMode(NumberFormatter::RoundingMode::halfUp);
}

TEST(NumberFormatter, WritesWhatTheGoldenRowsSay) {
  NumberFormatter whole;
  expectRows("noFraction", whole);
  NumberFormatter limited;
  limited.setMaximumFractionDigits(2);
  expectRows("limited2", limited);
  NumberFormatter fixed;
  fixed.setMaximumFractionDigits(1);
  fixed.setMinimumFractionDigits(1);
  for (const auto& row : Tests::goldenRows("decibelText")) {
    fixed.setLocale(Locale(row.locale));  // Levels have single precision.
    EXPECT_EQ(fixed.string(static_cast<float>(std::stod(row.input))), row.output) << row.locale << ' ' << row.input;
  }
  NumberFormatter percent;
  percent.setNumberStyle(NumberFormatter::Style::percent);
  expectRows("percent", percent);
  NumberFormatter beats;
  configureAsBeats(beats);
  expectRows("bpm", beats);
}

TEST(NumberFormatter, InstalledICUKeepsTheSuffixesOfTheGoldenRows) {
  for (const auto& row : Tests::goldenRows("bpmPattern")) {
    UErrorCode status = U_ZERO_ERROR;
    icu::DecimalFormat format(u"#", new icu::DecimalFormatSymbols(icu::Locale(row.locale.c_str()), status), status);
    format.setPositiveSuffix(u" bpm");
    format.setNegativeSuffix(u" bpm");
    format.applyPattern(u"#;~", status);
    ASSERT_TRUE(U_SUCCESS(status));
    icu::UnicodeString units;
    std::string pattern;
    EXPECT_EQ(format.toPattern(units).toUTF8String(pattern), row.output) << row.locale;
  }
}

/// The golden rows of one symbol, by its number in ICU.
std::vector<Tests::GoldenRow> goldenSymbols(std::string_view symbol) {
  std::vector<Tests::GoldenRow> rows = Tests::goldenRows("symbol");
  std::erase_if(rows, [&](const auto& row) { return row.input != symbol; });
  EXPECT_FALSE(rows.empty()) << symbol;
  return rows;
}

TEST(NumberFormatter, KnowsTheSignsOfTheGoldenRows) {
  NumberFormatter formatter;
  const auto expectSigns = [&](std::string_view symbol, auto&& sign) {
    for (const auto& row : goldenSymbols(symbol)) {
      formatter.setLocale(Locale(row.locale));
      EXPECT_EQ(sign(), row.output) << row.locale;
    }
  };
  expectSigns("0", [&] { return formatter.decimalSeparator(); });
  expectSigns("4", [&] { return formatter.string(0.0); });
  expectSigns("6", [&] { return formatter.minusSign(); });
  expectSigns("7", [&] { return formatter.plusSign(); });
}

TEST(NumberFormatter, GroupsWithTheSeparatorsOfTheGoldenRows) {
  NumberFormatter formatter;
  formatter.setNumberStyle(NumberFormatter::Style::decimal);
  for (const auto& row : goldenSymbols("1")) {
    formatter.setLocale(Locale(row.locale));
    EXPECT_THAT(formatter.string(1234567.0).value_or(""), testing::HasSubstr(row.output)) << row.locale;
  }
}

/// The same settings in ICU's own format.
std::string stock(icu::DecimalFormat& format, double value, int minimum, int maximum) {
  format.setMaximumFractionDigits(maximum);
  format.setMinimumFractionDigits(minimum);
  icu::UnicodeString units;
  std::string text;
  return format.format(value, units).toUTF8String(text);
}

TEST(NumberFormatter, WritesEveryDoubleAsICUDoes) {
  std::mt19937_64 random(20261121);
  for (const char* name : someLocales) {
    UErrorCode status = U_ZERO_ERROR;
    const icu::Locale locale(name);
    icu::DecimalFormat plain(u"#", new icu::DecimalFormatSymbols(locale, status), status);
    plain.setMaximumIntegerDigits(42);
    plain.setGroupingUsed(false);
    const std::unique_ptr<icu::DecimalFormat> grouped(
        dynamic_cast<icu::DecimalFormat*>(icu::NumberFormat::createInstance(locale, status)));
    const std::unique_ptr<icu::DecimalFormat> percent(
        dynamic_cast<icu::DecimalFormat*>(icu::NumberFormat::createPercentInstance(locale, status)));
    ASSERT_TRUE(U_SUCCESS(status));
    percent->setMultiplier(1);
    NumberFormatter ours;
    ours.setLocale(Locale(name));
    NumberFormatter oursGrouped;
    oursGrouped.setLocale(Locale(name));
    oursGrouped.setNumberStyle(NumberFormatter::Style::decimal);
    NumberFormatter oursPercent;
    oursPercent.setLocale(Locale(name));
    oursPercent.setNumberStyle(NumberFormatter::Style::percent);

    for (int round = 0; round < Tests::repetitions(500); ++round) {
      double value = 0;
      switch (round % 5) {
        case 0:
          value = std::bit_cast<double>(random());  // Any double.
          break;
        case 1:
          value = static_cast<double>(static_cast<std::int64_t>(random() >> (random() % 64))) / 1000;
          break;
        case 2:
          value = static_cast<double>(static_cast<int>(random() % 20001) - 10000) / 8;  // Many exact ties.
          break;
        case 3:
          value = static_cast<double>(static_cast<int>(random() % 200001) - 100000) / 1000;  // Decimal ties.
          break;
        default:
          value = static_cast<double>(static_cast<std::int64_t>(random()));
      }
      const int maximum = static_cast<int>(random() % 7);
      const int minimum = maximum == 0 ? 0 : static_cast<int>(random() % static_cast<unsigned>(maximum + 1));
      for (auto [formatter, format] : {std::pair(&ours, &plain), std::pair(&oursGrouped, grouped.get())}) {
        formatter->setMaximumFractionDigits(maximum);
        formatter->setMinimumFractionDigits(minimum);
        EXPECT_EQ(formatter->string(value), stock(*format, value, minimum, maximum)) << name << ' ' << value;
      }
      EXPECT_EQ(oursPercent.string(value), stock(*percent, value * 100, 0, 0)) << name << ' ' << value;
    }
  }
}

TEST(NumberFormatter, RoundsInEveryMode) {
  using enum NumberFormatter::RoundingMode;
  NumberFormatter formatter;
  formatter.setLocale(Locale("en"));
  const auto rounded = [&](NumberFormatter::RoundingMode mode, double value) {
    formatter.setRoundingMode(mode);
    return formatter.string(value).value_or("nothing");
  };
  EXPECT_EQ(rounded(halfEven, 2.5), "2");
  EXPECT_EQ(rounded(halfEven, 3.5), "4");
  EXPECT_EQ(rounded(halfEven, 0.5), "0");
  EXPECT_EQ(rounded(halfUp, 2.5), "3");
  EXPECT_EQ(rounded(halfUp, -2.5), "-3");
  EXPECT_EQ(rounded(halfDown, 2.5), "2");
  EXPECT_EQ(rounded(halfDown, 2.51), "3");
  EXPECT_EQ(rounded(ceiling, 2.1), "3");
  EXPECT_EQ(rounded(ceiling, -2.9), "-2");
  EXPECT_EQ(rounded(floor, 2.9), "2");
  EXPECT_EQ(rounded(floor, -2.1), "-3");
  EXPECT_EQ(rounded(down, -2.9), "-2");
  EXPECT_EQ(rounded(up, 2.1), "3");
}

TEST(NumberFormatter, HasTheRawValuesThatPortedSettingsHold) {
  EXPECT_EQ(static_cast<int>(NumberFormatter::Style::none), 0);
  EXPECT_EQ(static_cast<int>(NumberFormatter::Style::percent), 3);
  EXPECT_EQ(static_cast<int>(NumberFormatter::RoundingMode::halfEven), 4);
  EXPECT_EQ(static_cast<int>(NumberFormatter::RoundingMode::halfUp), 6);
}

TEST(NumberFormatter, RoundsTheShortestDecimal) {
  NumberFormatter formatter;
  formatter.setLocale(Locale("en"));
  formatter.setMaximumFractionDigits(2);
  EXPECT_EQ(formatter.string(1.005), "1");
  EXPECT_EQ(formatter.string(0.015), "0.02");
  EXPECT_EQ(formatter.string(0.025), "0.02");
  EXPECT_EQ(formatter.string(-0.004), "-0");
}

TEST(NumberFormatter, MultipliesPercentInDoublePrecisionFirst) {
  NumberFormatter formatter;
  formatter.setLocale(Locale("en"));
  formatter.setNumberStyle(NumberFormatter::Style::percent);
  EXPECT_EQ(formatter.string(0.285), "28%");
  EXPECT_EQ(formatter.string(0.575), "57%");
  EXPECT_EQ(formatter.string(0.125), "12%");
  EXPECT_EQ(formatter.string(std::numeric_limits<double>::max()), "∞%");
}

TEST(NumberFormatter, WritesWhatIsNoFiniteNumber) {
  NumberFormatter formatter;
  formatter.setLocale(Locale("en"));
  EXPECT_EQ(formatter.string(std::nan("")), "NaN");
  EXPECT_EQ(formatter.string(std::numeric_limits<double>::infinity()), "∞");
  EXPECT_EQ(formatter.string(-std::numeric_limits<double>::infinity()), "-∞");
  EXPECT_EQ(formatter.string(-0.0), "-0");
}

TEST(NumberFormatter, WritesTheEndsOfEveryKind) {
  NumberFormatter formatter;
  formatter.setLocale(Locale("en"));
  EXPECT_EQ(formatter.string(std::numeric_limits<std::int64_t>::max()), "9223372036854775807");
  EXPECT_EQ(formatter.string(std::numeric_limits<std::int64_t>::min()), "-9223372036854775808");
  EXPECT_EQ(formatter.string(std::numeric_limits<double>::denorm_min()), "0");
  // At most the last 42 digits before the point are written.
  EXPECT_EQ(formatter.string(1e41), "1" + std::string(41, '0'));
  EXPECT_EQ(formatter.string(1.25e43), "5" + std::string(41, '0'));
  EXPECT_EQ(formatter.string(std::numeric_limits<double>::max()), "0");
  EXPECT_EQ(formatter.string(true), "1");
}

TEST(NumberFormatter, KeepsTheLimitsOfTheFractionDigitsInOrder) {
  NumberFormatter formatter;
  formatter.setMinimumFractionDigits(3);
  EXPECT_EQ(formatter.maximumFractionDigits(), 3);
  formatter.setMaximumFractionDigits(1);
  EXPECT_EQ(formatter.minimumFractionDigits(), 1);
  formatter.setMaximumFractionDigits(-5);
  EXPECT_EQ(formatter.maximumFractionDigits(), 0);
  formatter.setMaximumFractionDigits(std::numeric_limits<std::int64_t>::max());
  EXPECT_EQ(formatter.maximumFractionDigits(), 340);
  formatter.setLocale(Locale("en"));
  EXPECT_EQ(formatter.string(0.1), "0.1");
}

TEST(NumberFormatter, PutsTheZeroSymbolInPlaceOfExactZeroOnly) {
  NumberFormatter formatter;
  formatter.setLocale(Locale("en"));
  formatter.setPositivePrefix("+");
  formatter.setPositiveSuffix(" dB");
  formatter.setZeroSymbol("none");
  EXPECT_EQ(formatter.string(0), "none");
  EXPECT_EQ(formatter.string(-0.0), "none");
  EXPECT_EQ(formatter.string(0.4), "+0 dB");
  EXPECT_EQ(formatter.number("none"), NSNumber(0));
}

TEST(NumberFormatter, RestoresTheLocalesAffixes) {
  NumberFormatter formatter;
  formatter.setLocale(Locale("sv"));
  formatter.setNegativePrefix("minus ");
  EXPECT_EQ(formatter.string(-5), "minus 5");
  formatter.setNegativePrefix(std::nullopt);
  EXPECT_EQ(formatter.string(-5), "\u22125");
  EXPECT_EQ(formatter.negativePrefix(), "\u2212");
  EXPECT_EQ(formatter.positivePrefix(), "");
}

TEST(NumberFormatter, ReadsOnlyWhatItWouldWrite) {
  NumberFormatter formatter;
  formatter.setLocale(Locale("en"));
  EXPECT_EQ(formatter.number("12"), NSNumber(12));
  EXPECT_EQ(formatter.number("-5"), NSNumber(-5));
  EXPECT_EQ(formatter.number("1."), NSNumber(1));
  EXPECT_EQ(formatter.number("1e3"), NSNumber(1000));
  EXPECT_EQ(formatter.number("1E3"), NSNumber(1000));
  EXPECT_EQ(formatter.number("5.5"), NSNumber(5.5));
  EXPECT_EQ(formatter.number("५"), NSNumber(5));
  EXPECT_EQ(formatter.number("٥"), NSNumber(5));
  EXPECT_EQ(formatter.number(" 5"), NSNumber(5));
  EXPECT_EQ(formatter.number("\t\u00A05"), NSNumber(5));
  for (const char* refused :
       {"", "12a", "5 ", "1,000", ".", "+5", "a", "--5", "-", "5-", " ", "\u00A0", "\xFF", "5\xC3"}) {
    EXPECT_EQ(formatter.number(refused), std::nullopt) << refused;
  }
}

TEST(NumberFormatter, ReadsItsAffixesStrictly) {
  NumberFormatter formatter;
  formatter.setLocale(Locale("en"));
  formatter.setPositivePrefix("+");
  formatter.setNegativePrefix("-");
  formatter.setPositiveSuffix(" dB");
  formatter.setNegativeSuffix(" dB");
  EXPECT_EQ(formatter.number("+5 dB"), NSNumber(5));
  EXPECT_EQ(formatter.number("-5 dB"), NSNumber(-5));
  EXPECT_EQ(formatter.number("+5.5 dB"), NSNumber(5.5));
  for (const char* refused : {"+5dB", "+5", "5 dB", "+5  dB", "+-5 dB", "+ dB", "+5 dBx"}) {
    EXPECT_EQ(formatter.number(refused), std::nullopt) << refused;
  }
}

TEST(NumberFormatter, ReadsLongTexts) {
  NumberFormatter formatter;
  formatter.setLocale(Locale("en"));
  EXPECT_EQ(formatter.number(std::string(100'000, 'x')), std::nullopt);
  const auto huge = formatter.number("1" + std::string(1000, '0'));
  ASSERT_TRUE(huge.has_value());
  EXPECT_TRUE(std::isinf(huge->doubleValue()));
  EXPECT_EQ(formatter.number("9223372036854775807"), NSNumber(std::numeric_limits<std::int64_t>::max()));
}

TEST(NumberFormatter, ReadsAMegabyteOfDigitsAtOnce) {
  NumberFormatter formatter;
  formatter.setLocale(Locale("en"));
  constexpr std::size_t megabyte = 1'000'000;
  const auto value = [&](const std::string& text) {
    const auto number = formatter.number(text);
    return number ? number->doubleValue() : std::nan("");
  };
  EXPECT_EQ(value(std::string(megabyte, '9')), std::numeric_limits<double>::infinity());
  EXPECT_EQ(value("-" + std::string(megabyte, '9')), -std::numeric_limits<double>::infinity());
  EXPECT_EQ(value(std::string(megabyte, '0') + "5"), 5);
  EXPECT_EQ(value(std::string(megabyte, '0')), 0);
  EXPECT_EQ(value("0." + std::string(megabyte, '3')), 1.0 / 3);
  EXPECT_EQ(value("0." + std::string(megabyte, '0') + "3"), 0);
  EXPECT_EQ(value("1e" + std::string(megabyte, '0') + "2"), 100);
  EXPECT_EQ(value(std::string(megabyte, ' ') + "5"), 5);
  std::string arabic;
  while (arabic.size() < megabyte) arabic += "٩";
  EXPECT_EQ(value(arabic), std::numeric_limits<double>::infinity());
  // Halfway between 1 and the next double, with one more digit far behind.
  const std::string half = "1.00000000000000011102230246251565404236316680908203125";
  EXPECT_EQ(value(half + std::string(megabyte, '0')), 1);
  EXPECT_EQ(value(half + std::string(megabyte, '0') + "1"), std::nextafter(1.0, 2.0));
  for (const std::string& text : {std::string(megabyte, '9') + "e-999999", std::string(megabyte, '9') + "x",
                                  std::string(megabyte, '-'), "5" + std::string(megabyte, ' ')}) {
    EXPECT_EQ(formatter.number(text), std::nullopt);
  }
  formatter.setNumberStyle(NumberFormatter::Style::decimal);
  std::string grouped = "999";
  while (grouped.size() < megabyte) grouped += ",999";
  EXPECT_EQ(formatter.number(grouped), std::nullopt);
}

TEST(NumberFormatter, ReadsExponentsBeyondEveryNumber) {
  NumberFormatter formatter;
  formatter.setLocale(Locale("en"));
  for (const std::string exponent : {"400", "2147483647", "2147483648", "99999999999", "99999999999999999999"}) {
    EXPECT_EQ(formatter.number("1e" + exponent), NSNumber(std::numeric_limits<double>::infinity())) << exponent;
    EXPECT_EQ(formatter.number("1e-" + exponent).value_or(NSNumber(1)).doubleValue(), 0) << exponent;
  }
}

TEST(NumberFormatter, ReadsPercentAsAFraction) {
  NumberFormatter formatter;
  formatter.setLocale(Locale("en"));
  formatter.setNumberStyle(NumberFormatter::Style::percent);
  EXPECT_EQ(formatter.number("50%"), NSNumber(0.5));
}

TEST(NumberFormatter, PercentagesDoNotDependOnTheNegativeFormat) {
  NumberFormatter formatter;
  formatter.setLocale(Locale("en"));
  formatter.setNumberStyle(NumberFormatter::Style::percent);
  EXPECT_EQ(formatter.string(1e20), "10,000,000,000,000,000,000,000%");
  formatter.setNegativeFormat("(#,##0%)");
  EXPECT_EQ(formatter.number("50%"), NSNumber(0.5));
  EXPECT_EQ(formatter.string(0.25), "25%");
  EXPECT_EQ(formatter.string(1e20), "10,000,000,000,000,000,000,000%");
}

TEST(NumberFormatter, PercentagesWithoutDigitsOfTheirLocaleAreNotScaledTwice) {
  NumberFormatter formatter;
  formatter.setLocale(
      Locale("en@numbers=roman"));  // Such numbers follow spelling rules, so the root's pattern is used.
  formatter.setNumberStyle(NumberFormatter::Style::percent);
  EXPECT_EQ(formatter.number("50%"), NSNumber(0.5));
  EXPECT_EQ(formatter.string(1e20), "10,000,000,000,000,000,000,000%");
}

TEST(NumberFormatter, TakesAnyKindOfNumberAndNothingElse) {
  NumberFormatter formatter;
  formatter.setLocale(Locale("en"));
  EXPECT_EQ(formatter.string(std::any(7)), "7");
  EXPECT_EQ(formatter.string(std::any(7.0F)), "7");
  EXPECT_EQ(formatter.string(std::any(NSNumber(7))), "7");
  EXPECT_EQ(formatter.string(std::any(std::string("7"))), std::nullopt);
  EXPECT_EQ(formatter.string(std::any()), std::nullopt);
}

TEST(NumberFormatter, GivesTheObjectOfAText) {
  NumberFormatter formatter;
  formatter.setLocale(Locale("en"));
  std::any object;
  EXPECT_TRUE(formatter.getObjectValue(&object, "42"));
  EXPECT_EQ(std::any_cast<NSNumber>(object), NSNumber(42));
  EXPECT_FALSE(formatter.getObjectValue(&object, "x"));
  EXPECT_EQ(std::any_cast<NSNumber>(object), NSNumber(42));
  EXPECT_TRUE(formatter.getObjectValue(nullptr, "42"));
}

TEST(NumberFormatter, UsesLocalesInTurn) {
  NumberFormatter formatter;
  formatter.setMaximumFractionDigits(1);
  for (int round = 0; round < 3; ++round) {
    for (const char* locale : someLocales) {
      formatter.setLocale(Locale(locale));
      NumberFormatter fresh;
      fresh.setMaximumFractionDigits(1);
      fresh.setLocale(Locale(locale));
      EXPECT_EQ(formatter.string(-1.5), fresh.string(-1.5)) << locale;
    }
  }
}

TEST(NumberFormatter, WritesATextInUnknownLocales) {
  for (const std::string& identifier :
       {std::string(), std::string("xx"), std::string("not a locale"), std::string("en@numbers=roman"),
        std::string("\xFF"), std::string(10'000, 'a'), std::string("de\0fr", 5)}) {
    NumberFormatter formatter;
    formatter.setLocale(Locale(identifier));
    EXPECT_FALSE(formatter.string(1234.5)->empty());
    formatter.setNumberStyle(NumberFormatter::Style::percent);
    EXPECT_FALSE(formatter.string(0.5)->empty());
  }
}

TEST(NumberFormatter, IgnoresAPatternThatIsIllFormed) {
  NumberFormatter formatter;
  formatter.setLocale(Locale("en"));
  formatter.setNegativeFormat("'");
  EXPECT_EQ(formatter.string(5), "5");
}

}  // namespace
}  // namespace Tessaly
