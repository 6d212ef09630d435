// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <unicode/datefmt.h>
#include <unicode/locid.h>
#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>

#include <cmath>
#include <limits>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "Tessaly/Core/Formatters/DateFormatter.hpp"
#include "tests/Support/FixedClock.hpp"
#include "tests/Support/GoldenRows.hpp"
#include "tests/Support/Repetitions.hpp"

namespace Tessaly {
namespace {

using Style = DateFormatter::Style;
using FormattingContext = DateFormatter::FormattingContext;

const Date firstDate = Date::since1970(1'672'671'845);   // 2023-01-02 15:04:05 UTC
const Date secondDate = Date::since1970(1'704'013'620);  // 2023-12-31 09:07:00 UTC
const Date today = Date::since1970(1'795'187'040);       // 2026-11-20 15:04:00 UTC
constexpr double day = 86'400;

struct Made : DateFormatter {
  Made(const char* locale, Style dateStyle, Style timeStyle) {
    setLocale(Locale(locale));
    setTimeZone(TimeZone::gmt());
    setDateStyle(dateStyle);
    setTimeStyle(timeStyle);
  }
};

Date dateOf(const std::string& input) {
  if (input == "d1") return firstDate;
  if (input == "d2") return secondDate;
  return today + std::stod(input.substr(3)) * day;  // "day-3(now)"
}

const std::map<std::string, Style> styles{
    {"short", Style::short_}, {"medium", Style::medium}, {"long", Style::long_}, {"full", Style::full}};

TEST(DateFormatter, WritesMediumDatesAndTimesAsTheGoldenRowsSay) {
  for (const auto& [rows, dateStyle, timeStyle] : {std::tuple("mediumDate", Style::medium, Style::none),
                                                   std::tuple("mediumDate+time", Style::medium, Style::short_),
                                                   std::tuple("timeOnly", Style::none, Style::short_)}) {
    for (const auto& row : Tests::goldenRows(rows)) {
      EXPECT_EQ(Made(row.locale.c_str(), dateStyle, timeStyle).string(dateOf(row.input)), row.output)
          << rows << ' ' << row.locale << ' ' << row.input;
    }
  }
}

TEST(DateFormatter, InstalledICUHasThePatternsOfTheGoldenRows) {
  for (const auto& [rows, dateStyle, timeStyle] :
       {std::tuple("mediumDatePat", icu::DateFormat::kMedium, icu::DateFormat::kNone),
        std::tuple("mediumDate+timePat", icu::DateFormat::kMedium, icu::DateFormat::kShort),
        std::tuple("timeOnlyPat", icu::DateFormat::kNone, icu::DateFormat::kShort)}) {
    for (const auto& row : Tests::goldenRows(rows)) {
      const std::unique_ptr<icu::DateFormat> format(
          icu::DateFormat::createDateTimeInstance(dateStyle, timeStyle, icu::Locale(row.locale.c_str())));
      icu::UnicodeString units;
      std::string pattern;
      dynamic_cast<const icu::SimpleDateFormat&>(*format).toPattern(units).toUTF8String(pattern);
      EXPECT_EQ(pattern, row.output) << rows << ' ' << row.locale;
    }
  }
}

TEST(DateFormatter, WritesSentenceBeginningsAsTheGoldenRowsSay) {
  for (const auto& [name, style] : styles) {
    for (const Style timeStyle : {Style::none, Style::short_}) {
      for (const auto& row : Tests::goldenRows("plain-" + name + (timeStyle == Style::none ? "" : "+time"))) {
        Made made(row.locale.c_str(), style, timeStyle);
        made.setFormattingContext(FormattingContext::beginningOfSentence);
        EXPECT_EQ(made.string(dateOf(row.input)), row.output) << name << ' ' << row.locale << ' ' << row.input;
      }
    }
  }
}

TEST(DateFormatter, CallsDaysByTheirWordsAsTheGoldenRowsSay) {
  const Tests::FixedClock clock(today);
  const WallClock::Replacement replacement(clock);
  for (const auto& [name, style] : styles) {
    for (const Style timeStyle : {Style::none, Style::short_}) {
      for (const auto& row : Tests::goldenRows("relative-" + name + (timeStyle == Style::none ? "" : "+time"))) {
        Made made(row.locale.c_str(), style, timeStyle);
        made.setFormattingContext(FormattingContext::beginningOfSentence);
        made.setDoesRelativeDateFormatting(true);
        EXPECT_EQ(made.string(dateOf(row.input)), row.output) << name << ' ' << row.locale << ' ' << row.input;
      }
    }
  }
}

TEST(DateFormatter, CountsCalendarDaysOfItsZoneInsteadOfHours) {
  const Tests::FixedClock clock(Date::since1970(1'795'132'860));  // 2026-11-20 00:01 UTC
  const WallClock::Replacement replacement(clock);
  Made made("en", Style::medium, Style::none);
  made.setDoesRelativeDateFormatting(true);
  EXPECT_EQ(made.string(Date::now() + -120.0), "yesterday");
  EXPECT_EQ(made.string(Date::now() + 86'000.0), "today");
  made.setTimeZone(TimeZone::from("America/New_York"));  // In that zone it is still 19 November.
  EXPECT_EQ(made.string(Date::now() + -120.0), "today");
  EXPECT_EQ(made.string(Date::now() + 86'000.0), "tomorrow");
}

TEST(DateFormatter, NoticesThatAnotherDayHasCome) {
  Made made("en", Style::medium, Style::none);
  made.setDoesRelativeDateFormatting(true);
  for (const auto& [hours, word] : {std::pair(0, "today"), std::pair(8, "today"), std::pair(9, "yesterday")}) {
    const Tests::FixedClock clock(today + hours * 3600.0);
    const WallClock::Replacement replacement(clock);
    EXPECT_EQ(made.string(today), word);
  }
}

TEST(DateFormatter, CapitalisesOnlyAtTheBeginningOfASentence) {
  const Tests::FixedClock clock(today);
  const WallClock::Replacement replacement(clock);
  Made made("fr", Style::full, Style::none);
  made.setDoesRelativeDateFormatting(true);
  EXPECT_EQ(made.string(today), "aujourd’hui");
  EXPECT_EQ(made.string(today + 7 * day), "vendredi 27 novembre 2026");
  made.setFormattingContext(FormattingContext::beginningOfSentence);
  EXPECT_EQ(made.string(today), "Aujourd’hui");
  EXPECT_EQ(made.string(today + 7 * day), "Vendredi 27 novembre 2026");
}

/// The text of ICU's own relative format, which reads only the real clock.
std::string stock(const icu::Locale& locale, int dateStyle, int timeStyle, bool isAtBeginning, UDate date) {
  UErrorCode status = U_ZERO_ERROR;
  const std::unique_ptr<icu::DateFormat> format(icu::DateFormat::createDateTimeInstance(
      static_cast<icu::DateFormat::EStyle>(dateStyle | icu::DateFormat::kRelative),
      static_cast<icu::DateFormat::EStyle>(timeStyle), locale));
  format->adoptTimeZone(icu::TimeZone::getGMT()->clone());
  if (isAtBeginning) format->setContext(UDISPCTX_CAPITALIZATION_FOR_BEGINNING_OF_SENTENCE, status);
  icu::UnicodeString units;
  std::string text;
  return format->format(date, units).toUTF8String(text);
}

TEST(DateFormatter, WritesInEveryLocaleAsICUDoes) {
  const Date now = Date::now();
  const auto dayNumber = [](Date date) { return std::floor(date.timeIntervalSince1970() / day); };
  std::int32_t count = 0;
  const icu::Locale* locales = icu::Locale::getAvailableLocales(count);
  ASSERT_GT(count, 100);
  // Gaelic has a word for the third day from today. For an unknown language, ICU uses its default locale.
  std::vector<std::string> names{"gd", "xx", "xx_YY"};
  const std::int32_t stride = Tests::repetitions(1) > 1 ? 1 : 7;
  for (std::int32_t index = 0; index < count; index += stride) names.emplace_back(locales[index].getName());
  int compared = 0;
  for (const std::string& name : names) {
    const icu::Locale locale(name.c_str());
    for (const auto& [style, styleOfICU] :
         {std::pair(Style::short_, icu::DateFormat::kShort), std::pair(Style::medium, icu::DateFormat::kMedium),
          std::pair(Style::full, icu::DateFormat::kFull)}) {
      for (const bool hasTime : {false, true}) {
        Made made(name.c_str(), style, hasTime ? Style::short_ : Style::none);
        made.setDoesRelativeDateFormatting(true);
        made.setFormattingContext(FormattingContext::beginningOfSentence);
        for (const int days : {-4, -3, -2, -1, 0, 1, 2, 3, 4}) {
          const Date date = now + days * day;
          const std::string expected =
              stock(locale, styleOfICU, hasTime ? icu::DateFormat::kShort : icu::DateFormat::kNone, true,
                    date.timeIntervalSince1970() * 1000 + 0.5);
          const std::string text = made.string(date);
          if (dayNumber(Date::now()) != dayNumber(now)) continue;  // Midnight came in between.
          ++compared;
          EXPECT_EQ(text, expected) << name << ' ' << days;
        }
      }
    }
  }
  EXPECT_GT(compared, 100);
}

TEST(DateFormatter, WritesEveryStyleLocaleAndZoneAsICUDoes) {
  std::int32_t count = 0;
  const icu::Locale* locales = icu::Locale::getAvailableLocales(count);
  std::vector<std::string> names{"th_TH@calendar=gregorian", "en@numbers=roman",    "ar@numbers=latn",
                                 "he@calendar=hebrew",       "zh@calendar=chinese", "ja@calendar=japanese",
                                 "en@calendar=iso8601",      "hi@numbers=deva"};
  const std::int32_t stride = Tests::repetitions(1) > 1 ? 1 : 5;
  for (std::int32_t index = 0; index < count; index += stride) names.emplace_back(locales[index].getName());
  const char* const zones[] = {"GMT",          "Europe/Berlin", "America/St_Johns", "Asia/Kathmandu",
                               "Pacific/Apia", "GMT-03:30"};
  const Style ours[] = {Style::none, Style::short_, Style::medium, Style::long_, Style::full};
  const icu::DateFormat::EStyle stocks[] = {icu::DateFormat::kNone, icu::DateFormat::kShort, icu::DateFormat::kMedium,
                                            icu::DateFormat::kLong, icu::DateFormat::kFull};
  std::mt19937_64 random(5);
  std::uniform_real_distribution<double> instants(-20e9, 260e9);  // From 1336 to 10209.
  std::size_t turn = 0;
  for (const std::string& name : names) {
    const icu::Locale locale(name.c_str());
    for (std::size_t dateStyle = 0; dateStyle < 5; ++dateStyle) {
      // Each locale has all styles of dates. Some locales also have all pairs with styles of times, contexts and zones.
      const std::size_t timeStyle = dateStyle == 0 ? 1 + turn % 4 : turn % 4;
      const char* const zone = zones[turn % std::size(zones)];
      const bool isAtBeginning = turn / 2 % 2 == 1;
      ++turn;
      Made made(name.c_str(), ours[dateStyle], ours[timeStyle]);
      made.setTimeZone(TimeZone::from(zone));
      if (isAtBeginning) made.setFormattingContext(FormattingContext::beginningOfSentence);
      const std::unique_ptr<icu::DateFormat> format(
          icu::DateFormat::createDateTimeInstance(stocks[dateStyle], stocks[timeStyle], locale));
      format->adoptTimeZone(icu::TimeZone::createTimeZone(zone));
      UErrorCode status = U_ZERO_ERROR;
      if (isAtBeginning) format->setContext(UDISPCTX_CAPITALIZATION_FOR_BEGINNING_OF_SENTENCE, status);
      for (const double seconds : {1'672'671'845.0, 1'704'013'620.25, 0.0, -1.0, instants(random), instants(random)}) {
        icu::UnicodeString units;
        std::string expected;
        format->format(seconds * 1000 + 0.5, units).toUTF8String(expected);
        EXPECT_EQ(made.string(Date::since1970(seconds)), expected)
            << name << ' ' << dateStyle << ' ' << timeStyle << ' ' << zone << ' ' << isAtBeginning << ' ' << seconds;
      }
    }
  }
}

TEST(DateFormatter, HasTheRawValuesThatPortedSettingsHold) {
  EXPECT_EQ(static_cast<int>(Style::none), 0);
  EXPECT_EQ(static_cast<int>(Style::short_), 1);
  EXPECT_EQ(static_cast<int>(Style::medium), 2);
  EXPECT_EQ(static_cast<int>(FormattingContext::beginningOfSentence), 4);
}

TEST(DateFormatter, IgnoresWordsWithoutADateStyle) {
  Made made("en", Style::none, Style::short_);
  made.setDoesRelativeDateFormatting(true);
  EXPECT_EQ(made.string(firstDate), "3:04\u202FPM");
}

TEST(DateFormatter, WritesNothingWithoutStyles) {
  DateFormatter made;
  EXPECT_EQ(made.string(firstDate), "");
  made.setDoesRelativeDateFormatting(true);
  EXPECT_EQ(made.string(firstDate), "");
}

TEST(DateFormatter, RoundsToMilliseconds) {
  const Made made("en", Style::none, Style::medium);
  EXPECT_EQ(made.string(firstDate + 0.9994), "3:04:05\u202FPM");
  EXPECT_EQ(made.string(firstDate + 0.9996), "3:04:06\u202FPM");
}

TEST(DateFormatter, WritesDatesBeyondEveryCalendar) {
  const Tests::FixedClock clock(today);
  const WallClock::Replacement replacement(clock);
  for (const bool isRelative : {false, true}) {
    Made made("en", Style::full, Style::full);
    made.setDoesRelativeDateFormatting(isRelative);
    for (const double seconds : {std::numeric_limits<double>::max(), std::numeric_limits<double>::lowest(), 1e15, -1e15,
                                 1e18, -62'200'000'000.0}) {
      EXPECT_FALSE(made.string(Date::since1970(seconds)).empty()) << seconds;
    }
    EXPECT_FALSE(made.string(Date::distantPast()).empty());
    EXPECT_FALSE(made.string(Date::distantFuture()).empty());
    for (const double seconds :
         {std::nan(""), std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity()}) {
      EXPECT_EQ(made.string(Date::since1970(seconds)), "");
    }
  }
}

TEST(DateFormatter, FollowsTheCurrentLocaleAndZoneAtEveryUse) {
  DateFormatter made;
  made.setDateStyle(Style::medium);
  made.setTimeStyle(Style::short_);
  const TimeZone tokyo = *TimeZone::from("Asia/Tokyo");
  const Locale german("de");
  {
    const Locale english("en_GB");
    const Locale::Replacement locale(english);
    const TimeZone gmt = TimeZone::gmt();
    const TimeZone::Replacement zone(gmt);
    EXPECT_EQ(made.string(firstDate), "2 Jan 2023, 15:04");
  }
  const Locale::Replacement locale(german);
  const TimeZone::Replacement zone(tokyo);
  EXPECT_EQ(made.string(firstDate), "03.01.2023, 00:04");
}

TEST(DateFormatter, WritesWordsForOtherCalendarsAndUnknownLocales) {
  const Tests::FixedClock clock(today);
  const WallClock::Replacement replacement(clock);
  for (const std::string& identifier :
       {std::string("th"), std::string("fa"), std::string("en@calendar=hebrew"), std::string("ar_SA"), std::string(""),
        std::string("xx"), std::string("\xFF"), std::string(10'000, 'q'), std::string("ja@calendar=japanese")}) {
    Made made("en", Style::medium, Style::short_);
    made.setLocale(Locale(identifier));
    made.setDoesRelativeDateFormatting(true);
    EXPECT_FALSE(made.string(today).empty()) << identifier;
    EXPECT_FALSE(made.string(today + 30 * day).empty()) << identifier;
  }
}

TEST(DateFormatter, KeepsItsTextsApartWhenManyCombinationsTakeTurns) {
  DateFormatter made;
  made.setTimeZone(TimeZone::gmt());
  for (int round = 0; round < 3; ++round) {
    for (const auto& row : Tests::goldenRows("mediumDate+time")) {
      made.setLocale(Locale(row.locale));
      for (const Style time : {Style::none, Style::short_, Style::long_}) {
        for (const Style date : {Style::medium, Style::full}) {
          made.setDateStyle(date);
          made.setTimeStyle(time);
          EXPECT_EQ(made.string(dateOf(row.input)), Made(row.locale.c_str(), date, time).string(dateOf(row.input)));
        }
      }
    }
  }
}

TEST(DateFormatter, TakesDatesAndNothingElse) {
  const Made made("en_GB", Style::medium, Style::none);
  EXPECT_EQ(made.string(std::any(firstDate)), "2 Jan 2023");
  EXPECT_EQ(made.string(std::any(5.0)), std::nullopt);
}

}  // namespace
}  // namespace Tessaly
