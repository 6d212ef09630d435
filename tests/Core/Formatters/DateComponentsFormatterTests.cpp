// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <unicode/locid.h>
#include <unicode/measfmt.h>
#include <unicode/measunit.h>
#include <unicode/measure.h>

#include <cmath>
#include <limits>
#include <sstream>
#include <string>

#include "Tessaly/Core/Formatters/DateComponentsFormatter.hpp"
#include "tests/Support/GoldenRows.hpp"

namespace Tessaly {
namespace {

using Units = DateComponentsFormatter::Units;
using UnitsStyle = DateComponentsFormatter::UnitsStyle;
using Zero = DateComponentsFormatter::ZeroFormattingBehavior;

std::string text(const char* locale, UnitsStyle style, Units units, Zero behavior, double seconds) {
  DateComponentsFormatter formatter;
  formatter.setLocale(Locale(locale));
  formatter.setUnitsStyle(style);
  formatter.setAllowedUnits(units);
  formatter.setZeroFormattingBehavior(behavior);
  return formatter.string(seconds).value_or("nothing");
}

/// "-1h 30m" in seconds, and its units.
std::pair<double, Units> spanOf(std::string input) {
  const bool isNegative = input.starts_with('-');
  if (isNegative) input.erase(0, 1);
  double seconds = 0;
  Units units{};
  std::istringstream stream(input);
  for (double amount = 0; stream >> amount;) {
    const char unit = static_cast<char>(stream.get());
    seconds += amount * (unit == 'h' ? 3600 : unit == 'm' ? 60 : 1);
    units = units | (unit == 'h' ? Units::hour : unit == 'm' ? Units::minute : Units::second);
  }
  return {isNegative ? -seconds : seconds, units};
}

TEST(DateComponentsFormatter, WritesWhatTheGoldenRowsSay) {
  for (const auto& [rows, style] :
       {std::pair("dur-full", UnitsStyle::full), std::pair("dur-narrow", UnitsStyle::abbreviated)}) {
    for (const auto& row : Tests::goldenRows(rows)) {
      const auto [seconds, units] = spanOf(row.input);
      EXPECT_EQ(text(row.locale.c_str(), style, units, Zero::dropAll, seconds), row.output)
          << rows << ' ' << row.locale << ' ' << row.input;
    }
  }
}

TEST(DateComponentsFormatter, SeparatesPositionalTextsAsTheGoldenRowsSay) {
  for (const auto& row : Tests::goldenRows("durPattern")) {
    const Units units = row.input == "hms"  ? Units::hour | Units::minute | Units::second
                        : row.input == "hm" ? Units::hour | Units::minute
                                            : Units::minute | Units::second;
    // One of each unit, in ASCII digits: the pattern with 01 and 1 in place of its letters.
    std::string expected = row.output;
    for (const char* letters : {"mm", "ss"}) {
      if (const std::size_t at = expected.find(letters); at != std::string::npos) expected.replace(at, 2, "01");
    }
    for (const char letter : {'h', 'm'}) {
      if (const std::size_t at = expected.find(letter); at != std::string::npos) expected[at] = '1';
    }
    const double seconds = row.input == "hms" ? 3661 : row.input == "hm" ? 3660 : 61;
    EXPECT_EQ(text((row.locale + "@numbers=latn").c_str(), UnitsStyle::positional, units, Zero::pad, seconds), expected)
        << row.locale << ' ' << row.input;
  }
}

std::string minutes(const char* locale, double seconds) {
  return text(locale, UnitsStyle::positional, Units::minute | Units::second, Zero::pad, seconds);
}
std::string hours(const char* locale, double seconds) {
  return text(locale, UnitsStyle::positional, Units::hour | Units::minute | Units::second, Zero::pad, seconds);
}

TEST(DateComponentsFormatter, WritesPositionalTexts) {
  for (const char* locale : {"en_US", "en_GB", "fr", "de", "es", "ja", "pt_BR", "hi"}) {
    EXPECT_EQ(minutes(locale, 0), "0:00");
    EXPECT_EQ(minutes(locale, 5), "0:05");
    EXPECT_EQ(minutes(locale, 59.9), "0:59");
    EXPECT_EQ(minutes(locale, 60), "1:00");
    EXPECT_EQ(minutes(locale, 543), "9:03");
    EXPECT_EQ(minutes(locale, 3600), "60:00");
    EXPECT_EQ(hours(locale, 3600.5), "1:00:00");
    EXPECT_EQ(hours(locale, 3661), "1:01:01");
    EXPECT_EQ(hours(locale, 93'784), "26:03:04");
    EXPECT_EQ(hours(locale, 1800), "0:30:00");
    EXPECT_EQ(hours(locale, 26'100), "7:15:00");
  }
  for (const char* locale : {"da", "fi", "id"}) {
    EXPECT_EQ(minutes(locale, 5), "0.05");
    EXPECT_EQ(minutes(locale, 3600), "60.00");
    EXPECT_EQ(hours(locale, 93'784), "26.03.04");
  }
  EXPECT_EQ(minutes("ar_EG", 0), "٠:٠٠");
  EXPECT_EQ(minutes("ar_EG", 59.9), "٠:٥٩");
  EXPECT_EQ(minutes("ar_EG", 3600), "٦٠:٠٠");
  EXPECT_EQ(hours("ar_EG", 93'784), "٢٦:٠٣:٠٤");
}

TEST(DateComponentsFormatter, WritesPositionalTextsInEveryLocaleAsICUDoes) {
  std::int32_t count = 0;
  const icu::Locale* locales = icu::Locale::getAvailableLocales(count);
  ASSERT_GT(count, 100);
  for (std::int32_t index = 0; index < count; index += 3) {
    UErrorCode status = U_ZERO_ERROR;
    const icu::MeasureFormat stock(locales[index], UMEASFMT_WIDTH_NUMERIC, status);
    DateComponentsFormatter formatter;
    formatter.setLocale(Locale(locales[index].getName()));
    formatter.setAllowedUnits(Units::minute | Units::second);
    formatter.setZeroFormattingBehavior(Zero::pad);
    for (const int seconds : {0, 9, 11, 61, 600, 3599, 12'345, 59'999, 60'000}) {
      const icu::Measure measures[] = {
          {icu::Formattable(double(seconds / 60)), icu::MeasureUnit::createMinute(status), status},
          {icu::Formattable(double(seconds % 60)), icu::MeasureUnit::createSecond(status), status}};
      icu::UnicodeString units;
      icu::FieldPosition position(icu::FieldPosition::DONT_CARE);
      std::string expected;
      stock.formatMeasures(measures, 2, units, position, status).toUTF8String(expected);
      EXPECT_EQ(formatter.string(seconds), expected) << locales[index].getName() << ' ' << seconds;
    }
  }
}

TEST(DateComponentsFormatter, HasTheRawValuesThatPortedSettingsHold) {
  using Style = DateComponentsFormatter::UnitsStyle;
  EXPECT_EQ(static_cast<int>(Style::positional), 0);
  EXPECT_EQ(static_cast<int>(Style::abbreviated), 1);
  EXPECT_EQ(static_cast<int>(Style::full), 3);
  EXPECT_EQ(static_cast<int>(Units::hour | Units::minute | Units::second), 224);
  EXPECT_EQ(static_cast<int>(Units::minute | Units::second), 192);
  EXPECT_EQ(static_cast<int>(Units::hour | Units::minute), 96);
  EXPECT_EQ(static_cast<int>(Zero::dropAll), 14);
  EXPECT_EQ(static_cast<int>(Zero::pad), 65536);
}

TEST(DateComponentsFormatter, SignsTheFirstUnitUnlessItIsZero) {
  EXPECT_EQ(minutes("en", -30), "0:30");
  EXPECT_EQ(minutes("en", -90), "-1:30");
  EXPECT_EQ(minutes("en", -7200), "-120:00");
  EXPECT_EQ(minutes("en", -0.9), "0:00");
  EXPECT_EQ(minutes("sv", -90), "\u22121:30");
  EXPECT_EQ(hours("en", -1800), "0:30:00");
  const Units both = Units::hour | Units::minute;
  EXPECT_EQ(text("en", UnitsStyle::abbreviated, both, Zero::dropAll, -6000), "-1h 40m");
  EXPECT_EQ(text("en", UnitsStyle::abbreviated, both, Zero::pad, -60), "0h 1m");
  EXPECT_EQ(text("en", UnitsStyle::abbreviated, both, Zero::dropAll, -60), "-1m");
}

TEST(DateComponentsFormatter, LeavesTheSmallestUnitOfNothing) {
  const Units both = Units::hour | Units::minute;
  EXPECT_EQ(text("en", UnitsStyle::abbreviated, both, Zero::dropAll, 0), "0m");
  EXPECT_EQ(text("en", UnitsStyle::abbreviated, both, Zero::dropAll, 30), "0m");
  EXPECT_EQ(text("en", UnitsStyle::full, both, Zero::dropAll, 0), "0 minutes");
  EXPECT_EQ(text("en", UnitsStyle::full, Units::minute | Units::second, Zero::dropAll, 0), "0 seconds");
}

TEST(DateComponentsFormatter, DropsZerosByItsBehavior) {
  const Units all = Units::hour | Units::minute | Units::second;
  const auto abbreviated = [&](Zero behavior, double seconds) {
    return text("en", UnitsStyle::abbreviated, all, behavior, seconds);
  };
  EXPECT_EQ(abbreviated(Zero::none, 3600), "1h 0m 0s");
  EXPECT_EQ(abbreviated(Zero::pad, 60), "0h 1m 0s");
  EXPECT_EQ(abbreviated(Zero::dropLeading, 60), "1m 0s");
  EXPECT_EQ(abbreviated(Zero::dropTrailing, 60), "0h 1m");
  EXPECT_EQ(abbreviated(Zero::dropMiddle, 3601), "1h 1s");
  EXPECT_EQ(abbreviated(Zero::dropLeading | Zero::dropTrailing, 60), "1m");
  EXPECT_EQ(abbreviated(Zero::default_, 3601), "1h 1s");
  EXPECT_EQ(text("en", UnitsStyle::positional, all, Zero::default_, 65), "1:05");
  EXPECT_EQ(text("en", UnitsStyle::positional, all, Zero::default_, 5), "0:05");
}

TEST(DateComponentsFormatter, CutsFractionsWhateverIsAllowed) {
  DateComponentsFormatter formatter;
  formatter.setLocale(Locale("en"));
  formatter.setUnitsStyle(UnitsStyle::abbreviated);
  formatter.setAllowedUnits(Units::hour);
  formatter.setAllowsFractionalUnits(true);
  EXPECT_TRUE(formatter.allowsFractionalUnits());
  EXPECT_EQ(formatter.string(5400), "1h");
  formatter.setAllowedUnits(Units::hour | Units::minute | Units::second);
  EXPECT_EQ(formatter.string(3995.9999999999995), "1h 6m 35s");
}

TEST(DateComponentsFormatter, WritesNothingOfWhatIsNoSpan) {
  DateComponentsFormatter formatter;
  EXPECT_EQ(formatter.string(std::nan("")), std::nullopt);
  EXPECT_EQ(formatter.string(std::numeric_limits<double>::infinity()), std::nullopt);
  EXPECT_EQ(formatter.string(-std::numeric_limits<double>::infinity()), std::nullopt);
  formatter.setAllowedUnits(Units{});
  EXPECT_EQ(formatter.string(5), std::nullopt);
}

TEST(DateComponentsFormatter, WritesNoSignWithoutANumber) {
  // ICU has no positional texts in numbers that follow spelling rules.
  EXPECT_EQ(minutes("en@numbers=roman", 90), "");
  EXPECT_EQ(minutes("en@numbers=roman", -90), "");
}

TEST(DateComponentsFormatter, WritesHugeSpans) {
  for (const UnitsStyle style : {UnitsStyle::positional, UnitsStyle::abbreviated, UnitsStyle::full}) {
    for (const double seconds : {1e10, 1e15, 9.3e18, 1e100, std::numeric_limits<double>::max()}) {
      const Units all = Units::hour | Units::minute | Units::second;
      EXPECT_NE(text("en", style, all, Zero::pad, seconds), "") << seconds;
      EXPECT_NE(text("en", style, all, Zero::pad, -seconds), "") << seconds;
    }
  }
  EXPECT_EQ(text("en", UnitsStyle::abbreviated, Units::hour | Units::minute, Zero::dropAll, 360'300), "100h 5m");
  EXPECT_EQ(hours("en", 3'600'000), "1,000:00:00");
}

TEST(DateComponentsFormatter, WritesASinglePositionalUnitInItsNarrowForm) {
  EXPECT_EQ(text("en", UnitsStyle::positional, Units::second, Zero::pad, 75), "75s");
}

TEST(DateComponentsFormatter, TakesNumbersAndNothingElse) {
  DateComponentsFormatter formatter;
  formatter.setLocale(Locale("en"));
  EXPECT_EQ(formatter.string(std::any(65.0)), "1:05");
  EXPECT_EQ(formatter.string(std::any(65)), "1:05");
  EXPECT_EQ(formatter.string(std::any(std::int64_t{65})), "1:05");
  EXPECT_EQ(formatter.string(std::any(std::string("65"))), std::nullopt);
}

}  // namespace
}  // namespace Tessaly
