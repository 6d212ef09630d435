// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <unicode/reldatefmt.h>

#include <algorithm>
#include <array>
#include <limits>
#include <sstream>
#include <string>

#include "Tessaly/Core/Formatters/RelativeDateFormatStyle.hpp"
#include "tests/Core/Formatters/AllLocales.hpp"
#include "tests/Support/GoldenRows.hpp"

namespace Tessaly {
namespace {

using Unit = RelativeDateFormatStyle::Unit;
using Width = RelativeDateFormatStyle::Width;
using Presentation = RelativeDateFormatStyle::Presentation;

constexpr Width widths[] = {Width::wide, Width::abbreviated, Width::narrow};
constexpr std::array<const char*, 3> widthNames{"wide", "abbreviated", "narrow"};
constexpr std::array<const char*, 8> unitNames{"year", "quarter", "month", "week", "day", "hour", "minute", "second"};

RelativeDateFormatStyle relative(const std::string& locale) {
  return RelativeDateFormatStyle().locale(Locale(locale)).timeZone(TimeZone::gmt());
}

template <typename Names>
std::size_t indexOf(const Names& names, const std::string& name) {
  return static_cast<std::size_t>(std::ranges::find(names, name) - names.begin());
}

TEST(RelativeDateFormatStyle, WritesTheGoldenTexts) {
  for (const auto& row : Tests::goldenRows("relative", "texts")) {
    std::istringstream input(row.input);
    std::string presentation;
    std::string width;
    std::string unit;
    int amount = 0;
    input >> presentation >> width >> unit >> amount;
    const auto style = relative(row.locale)
                           .width(widths[indexOf(widthNames, width)])
                           .presentation(presentation == "named" ? Presentation::named : Presentation::numeric);
    EXPECT_EQ(style.format(amount, static_cast<Unit>(indexOf(unitNames, unit))), row.output)
        << row.locale << ' ' << row.input;
  }
}

TEST(RelativeDateFormatStyle, WritesInEveryLocaleAsICUDoes) {
  constexpr std::array units{UDAT_REL_UNIT_YEAR, UDAT_REL_UNIT_QUARTER, UDAT_REL_UNIT_MONTH,  UDAT_REL_UNIT_WEEK,
                             UDAT_REL_UNIT_DAY,  UDAT_REL_UNIT_HOUR,    UDAT_REL_UNIT_MINUTE, UDAT_REL_UNIT_SECOND};
  for (const std::string& name : Tests::comparedLocales()) {
    for (const Width width : widths) {
      UErrorCode status = U_ZERO_ERROR;
      const icu::RelativeDateTimeFormatter peer(icu::Locale(name.c_str()), nullptr,
                                                static_cast<UDateRelativeDateTimeFormatterStyle>(width),
                                                UDISPCTX_CAPITALIZATION_NONE, status);
      for (std::size_t unit = 0; unit < units.size(); ++unit) {
        for (const double amount : {0.0, -0.0, 1.0, -1.0, 2.0, -2.0, 3.0, -3.0, 5.0, 1.5, -0.5, 11.0, -21.0, 101.0,
                                    -1234.0, 12'345.0, 1e9, 1e12, -1e21}) {
          icu::UnicodeString numeric;
          icu::UnicodeString named;
          peer.formatNumeric(amount, units[unit], numeric, status);
          peer.format(amount, units[unit], named, status);
          const auto style = relative(name).width(width);
          const auto which = static_cast<Unit>(unit);
          EXPECT_EQ(style.format(amount, which), Tests::utf8(numeric)) << name << ' ' << amount << unitNames[unit];
          EXPECT_EQ(style.presentation(Presentation::named).format(amount, which), Tests::utf8(named))
              << name << ' ' << amount << unitNames[unit];
        }
      }
    }
  }
}

/// 2023-01-02 15:04:05 in Greenwich, a Monday.
constexpr Date monday = Date::since1970(1'672'671'845);
constexpr double hour = 3600;
constexpr double day = 24 * hour;

TEST(RelativeDateFormatStyle, TakesTheLargestUnitThatFits) {
  const auto text = [](double seconds) { return relative("en").format(monday + seconds, monday); };
  EXPECT_EQ(text(0), "in 0 seconds");
  EXPECT_EQ(text(-0.5), "0 seconds ago");
  EXPECT_EQ(text(59.9), "in 59 seconds");
  EXPECT_EQ(text(-60), "1 minute ago");
  EXPECT_EQ(text(-5 * 60 - 59), "5 minutes ago");
  EXPECT_EQ(text(hour), "in 1 hour");
  EXPECT_EQ(text(23.9 * hour), "in 23 hours");
  EXPECT_EQ(text(3 * day), "in 3 days");
  EXPECT_EQ(text(-6 * day), "6 days ago");
  EXPECT_EQ(text(-7 * day), "1 week ago");
  EXPECT_EQ(text(30 * day), "in 4 weeks");
  EXPECT_EQ(text(31 * day), "in 1 month");
  EXPECT_EQ(text(-365 * day), "1 year ago");
  EXPECT_EQ(text(364 * day), "in 11 months");
}

TEST(RelativeDateFormatStyle, DaysCountMidnights) {
  const auto text = [](double seconds) { return relative("en").format(monday + seconds, monday); };
  EXPECT_EQ(text(-39 * hour), "1 day ago");
  EXPECT_EQ(text(-40 * hour), "2 days ago");
}

TEST(RelativeDateFormatStyle, WordsStandWhereTheCalendarAgrees) {
  const auto named = relative("en").presentation(Presentation::named);
  const auto text = [&](double seconds) { return named.format(monday + seconds, monday); };
  EXPECT_EQ(text(0), "now");
  EXPECT_EQ(text(-day), "yesterday");
  EXPECT_EQ(text(day), "tomorrow");
  EXPECT_EQ(text(-8 * day), "last week");     // Sunday to Sunday.
  EXPECT_EQ(text(-13 * day), "1 week ago");   // Two weeks back by the calendar.
  EXPECT_EQ(text(-33 * day), "1 month ago");  // November, as seen from January.
  EXPECT_EQ(text(31 * day), "next month");
  EXPECT_EQ(text(370 * day), "next year");
  EXPECT_EQ(text(-370 * day), "1 year ago");  // 2021, as seen from 2023.
}

TEST(RelativeDateFormatStyle, MidnightIsThatOfTheZone) {
  const auto text = [](const char* zone) {
    return relative("en").timeZone(TimeZone::from(zone)).format(monday + -39.5 * hour, monday);
  };
  EXPECT_EQ(text("GMT"), "2 days ago");
  EXPECT_EQ(text("Europe/Berlin"), "1 day ago");
}

TEST(RelativeDateFormatStyle, DayOfTwentyFiveHoursEndsAfterItsTwentyFourth) {
  const Date midnight = Date::since1970(1'698'530'400);  // 2023-10-29 in Berlin.
  const auto style = relative("en").timeZone(TimeZone::from("Europe/Berlin"));
  EXPECT_EQ(style.format(midnight + 24.5 * hour, midnight), "in 24 hours");
  EXPECT_EQ(style.format(midnight + 25 * hour, midnight), "in 1 day");
}

TEST(RelativeDateFormatStyle, DatesWithoutATextAreEmpty) {
  constexpr double infinity = std::numeric_limits<double>::infinity();
  for (const double seconds : {infinity, -infinity, std::numeric_limits<double>::quiet_NaN(), 1e18, -1e300}) {
    EXPECT_EQ(relative("en").format(Date::since1970(seconds), monday), "");
    EXPECT_EQ(relative("en").format(monday, Date::since1970(seconds)), "");
  }
  EXPECT_EQ(relative("en").format(infinity, Unit::day), "");
  EXPECT_EQ(relative("en").format(Date::distantPast(), monday), "2,022 years ago");
  EXPECT_EQ(relative("en").format(Date::since1970(1e12), Date::since1970(0)), "in 31,688 years");
  EXPECT_EQ(relative("en").format(Date::since1970(9e12), Date::since1970(0)), "in 285,198 years");
  EXPECT_EQ(relative("en").format(Date::since1970(-9e12), Date::since1970(9e12)), "570,397 years ago");
}

TEST(RelativeDateFormatStyle, WritesInUnknownLocales) {
  for (const char* locale : {"", "xx", "@@@", "\xFF\xFE"}) {
    EXPECT_FALSE(relative(locale).format(1, Unit::day).empty()) << locale;
  }
}

}  // namespace
}  // namespace Tessaly
