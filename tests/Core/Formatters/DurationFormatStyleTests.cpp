// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <unicode/measfmt.h>
#include <unicode/measunit.h>
#include <unicode/measure.h>

#include <array>
#include <limits>
#include <string>
#include <vector>

#include "Tessaly/Core/Formatters/DurationFormatStyle.hpp"
#include "tests/Core/Formatters/AllLocales.hpp"
#include "tests/Support/GoldenRows.hpp"

namespace Tessaly {
namespace {

using Unit = DurationFormatStyle::Unit;
using Width = DurationFormatStyle::Width;

DurationFormatStyle durations(const std::string& locale) { return DurationFormatStyle().locale(Locale(locale)); }

Width widthOf(const std::string& input) {
  return input.starts_with("wide") ? Width::wide : input.starts_with("narrow") ? Width::narrow : Width::abbreviated;
}

TEST(DurationFormatStyle, WritesTheGoldenTexts) {
  for (const auto& row : Tests::goldenRows("duration", "texts")) {
    const double seconds = std::stod(row.input.substr(row.input.find(' ')));
    EXPECT_EQ(durations(row.locale).width(widthOf(row.input)).format(seconds), row.output)
        << row.locale << ' ' << row.input;
  }
}

TEST(DurationFormatStyle, WritesInEveryLocaleAsICUDoes) {
  constexpr std::array widths{UMEASFMT_WIDTH_WIDE, UMEASFMT_WIDTH_SHORT, UMEASFMT_WIDTH_NARROW};
  for (const std::string& name : Tests::comparedLocales()) {
    // Only ICU's older classes spell numbers out by rules; its number formatter and the style write "1 day".
    if (name.ends_with("=roman")) continue;
    for (std::size_t width = 0; width < widths.size(); ++width) {
      UErrorCode status = U_ZERO_ERROR;
      const icu::MeasureFormat peer(icu::Locale(name.c_str()), widths[width], status);
      for (const int days : {1, 2, 5, 21, 365}) {
        const std::vector<icu::Measure> measures{{icu::Formattable(days), icu::MeasureUnit::createDay(status), status},
                                                 {icu::Formattable(2), icu::MeasureUnit::createHour(status), status},
                                                 {icu::Formattable(11), icu::MeasureUnit::createMinute(status), status},
                                                 {icu::Formattable(1), icu::MeasureUnit::createSecond(status), status}};
        icu::UnicodeString text;
        icu::FieldPosition position(icu::FieldPosition::DONT_CARE);
        peer.formatMeasures(measures.data(), 4, text, position, status);
        EXPECT_EQ(durations(name).width(static_cast<Width>(width)).format(days * 86'400.0 + 2 * 3600 + 11 * 60 + 1),
                  Tests::utf8(text))
            << name;
      }
    }
  }
}

TEST(DurationFormatStyle, LeavesOutUnitsThatAreZero) {
  EXPECT_EQ(durations("en").format(86'400 + 60), "1 day, 1 minute");
  EXPECT_EQ(durations("en").format(0), "0 seconds");
  EXPECT_EQ(durations("en").format(59.9), "59 seconds");
  EXPECT_EQ(durations("en").units(Unit::day, Unit::minute).format(59.9), "0 minutes");
  EXPECT_EQ(durations("en").units(Unit::hour, Unit::minute).format(90'060), "25 hours, 1 minute");
  EXPECT_EQ(durations("en").units(Unit::second, Unit::day).format(61), "61 seconds");
}

TEST(DurationFormatStyle, CutsAfterTheMaximumOfUnits) {
  EXPECT_EQ(durations("en").maximumUnitCount(2).format(93'784), "1 day, 2 hours");
  EXPECT_EQ(durations("en").maximumUnitCount(1).format(93'784), "1 day");
  EXPECT_EQ(durations("en").maximumUnitCount(-3).format(61), "1 minute");
  EXPECT_EQ(durations("en").maximumUnitCount(2).format(86'400 + 60), "1 day");
}

TEST(DurationFormatStyle, SignStandsBeforeTheFirstUnit) {
  EXPECT_EQ(durations("en").format(-90'000), "-1 day, 1 hour");
  EXPECT_EQ(durations("en").format(-0.5), "0 seconds");
}

TEST(DurationFormatStyle, SpansWithoutATextAreEmpty) {
  constexpr double infinity = std::numeric_limits<double>::infinity();
  for (const double span : {infinity, -infinity, std::numeric_limits<double>::quiet_NaN()}) {
    EXPECT_EQ(durations("en").format(span), "");
  }
  EXPECT_FALSE(durations("en").format(1e300).empty());
  EXPECT_FALSE(durations("\xFF\xFE").format(90'061).empty());
}

}  // namespace
}  // namespace Tessaly
