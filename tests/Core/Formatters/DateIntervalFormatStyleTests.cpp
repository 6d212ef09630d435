// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <unicode/dtitvfmt.h>
#include <unicode/timezone.h>

#include <limits>
#include <memory>
#include <sstream>
#include <string>

#include "Tessaly/Core/Formatters/DateIntervalFormatStyle.hpp"
#include "tests/Core/Formatters/AllLocales.hpp"
#include "tests/Support/GoldenRows.hpp"

namespace Tessaly {
namespace {

using DateWidth = DateIntervalFormatStyle::DateWidth;
using TimeWidth = DateIntervalFormatStyle::TimeWidth;

/// 2023-01-02 15:04:05 in Greenwich.
constexpr double start = 1'672'671'845;

DateIntervalFormatStyle intervals(const std::string& locale) {
  return DateIntervalFormatStyle().locale(Locale(locale)).timeZone(TimeZone::gmt());
}

TEST(DateIntervalFormatStyle, WritesTheGoldenTexts) {
  for (const auto& row : Tests::goldenRows("interval", "texts")) {
    std::istringstream input(row.input);
    int date = 0;
    int time = 0;
    double seconds = 0;
    input >> date >> time >> seconds;
    const auto style = intervals(row.locale).date(static_cast<DateWidth>(date)).time(static_cast<TimeWidth>(time));
    EXPECT_EQ(style.format(Date::since1970(start), Date::since1970(start + seconds)), row.output)
        << row.locale << ' ' << row.input;
  }
}

TEST(DateIntervalFormatStyle, WritesInEveryLocaleAsICUDoes) {
  const std::unique_ptr<icu::TimeZone> zone(icu::TimeZone::createTimeZone("GMT"));
  for (const std::string& name : Tests::comparedLocales()) {
    UErrorCode status = U_ZERO_ERROR;
    const std::unique_ptr<icu::DateIntervalFormat> peer(
        icu::DateIntervalFormat::createInstance(u"yMMMdjm", icu::Locale(name.c_str()), status));
    peer->setTimeZone(*zone);
    const auto style = intervals(name).time(TimeWidth::shortened);
    for (const double seconds : {0.0, 3600.0, 43'200.0, 86'400.0, -86'400.0, 86'400 * 400.0}) {
      const icu::DateInterval interval(start * 1000, (start + seconds) * 1000);
      icu::UnicodeString text;
      icu::FieldPosition position(icu::FieldPosition::DONT_CARE);
      peer->format(&interval, text, position, status);
      EXPECT_EQ(style.format(Date::since1970(start), Date::since1970(start + seconds)), Tests::utf8(text)) << name;
    }
  }
}

TEST(DateIntervalFormatStyle, IntervalsWithoutATextAreEmpty) {
  const Date date = Date::since1970(start);
  for (const double seconds : {std::numeric_limits<double>::infinity(), std::numeric_limits<double>::quiet_NaN()}) {
    EXPECT_EQ(intervals("en").format(date, Date::since1970(seconds)), "");
    EXPECT_EQ(intervals("en").format(Date::since1970(seconds), date), "");
  }
  EXPECT_EQ(intervals("en").date(DateWidth::omitted).format(date, date), "");
  EXPECT_FALSE(intervals("\xFF\xFE").format(date, date).empty());
}

}  // namespace
}  // namespace Tessaly
