// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <unicode/datefmt.h>
#include <unicode/timezone.h>

#include <chrono>
#include <cmath>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "Tessaly/Core/Formatters/DateFormatter.hpp"
#include "Tessaly/Core/Formatters/FieldEditing.hpp"
#include "tests/Core/Formatters/AllLocales.hpp"
#include "tests/Support/FixedClock.hpp"

namespace Tessaly {
namespace {

using Style = DateFormatter::Style;

const Date now = Date::since1970(1'795'187'040);  // 2026-11-20 15:04:00 UTC, a Friday

struct Reading : DateFormatter {
  Reading(const char* locale, Style dateStyle, Style timeStyle) {
    setLocale(Locale(locale));
    setTimeZone(TimeZone::gmt());
    setDateStyle(dateStyle);
    setTimeStyle(timeStyle);
  }
};

/// A date of the Gregorian calendar in Greenwich.
Date at(int year, unsigned month, unsigned day, int hour = 0, int minute = 0) {
  const std::chrono::sys_days days{std::chrono::year(year) / static_cast<int>(month) / static_cast<int>(day)};
  return Date::since1970(static_cast<double>(days.time_since_epoch().count()) * 86'400 + hour * 3600 + minute * 60);
}

TEST(Parsing, DateFollowsTheTableOfLanguages) {
  const Tests::FixedClock clock(now);
  const WallClock::Replacement replacement(clock);
  struct DateRow {
    const char* locale;
    const char* text;
    std::optional<Date> value;
  };
  const Date february = at(2023, 2, 1);
  const std::vector<DateRow> rows{
      {"en", "2/1/2023", february},
      {"en", "2/1/23", february},
      {"en", "02/01/2023", february},
      {"en", "Feb 1, 2023", february},
      {"en", "FEB 1 2023", february},
      {"en", "february 1, 2023", february},
      {"en", "Wednesday, February 1, 2023", february},
      {"en", "Thursday, February 1, 2023", std::nullopt},
      {"en", "2023-02-01", february},
      {"en", "2023-2-1", february},
      {"en", "13/1/2023", std::nullopt},
      {"en", "2/29/2023", std::nullopt},
      {"en", "2023-02-30", std::nullopt},
      {"en", "2/1/123", std::nullopt},
      {"en", "2/1", std::nullopt},
      {"en", "2/1/2023 x", std::nullopt},
      {"en", "", std::nullopt},
      {"en", " ", std::nullopt},
      {"en", "2/1/46", at(2046, 2, 1)},
      {"en", "12/1/46", at(1946, 12, 1)},
      {"en_GB", "1/2/2023", february},
      {"en_GB", "1 Feb 2023", february},
      {"de", "1.2.2023", february},
      {"de", "01.02.23", february},
      {"de", "1. Februar 2023", february},
      {"de", "Mittwoch, 1. Februar 2023", february},
      {"de", "31.2.2023", std::nullopt},
      {"fr", "1/2/2023", february},
      {"fr", "1 février 2023", february},
      {"fr", "1 févr. 2023", february},
      {"es", "1/2/23", february},
      {"es", "1 de febrero de 2023", february},
      {"pt_BR", "1 de fev. de 2023", february},
      {"ru", "01.02.2023", february},
      {"ru", "1 февраля 2023 г.", february},
      {"ar_EG", "١‏/٢‏/٢٠٢٣", february},
      {"ar_EG", "1/2/2023", february},
      {"he", "1.2.2023", february},
      {"hi", "1 फ़रवरी 2023", february},
      {"ja", "2023/2/1", february},
      {"ja", "2023年2月1日", february},
      {"ja", "1/2/23", std::nullopt},
      {"zh_Hans", "2023年2月1日", february},
      {"sv", "2023-02-01", february},
      {"sv", "1 februari 2023", february},
      {"th_TH", "1/2/2566", february},
      {"th_TH", "2023-02-01", february},
  };
  for (const DateRow& row : rows) {
    EXPECT_EQ(Reading(row.locale, Style::medium, Style::none).date(row.text), row.value)
        << row.locale << ": " << row.text;
  }
}

TEST(Parsing, TimeWithoutADateIsTodays) {
  const Tests::FixedClock clock(now);
  const WallClock::Replacement replacement(clock);
  const Reading times("en", Style::none, Style::short_);
  EXPECT_EQ(times.date("3:04 PM"), at(2026, 11, 20, 15, 4));
  EXPECT_EQ(times.date("3:04 pm"), at(2026, 11, 20, 15, 4));
  EXPECT_EQ(times.date("15:04"), at(2026, 11, 20, 15, 4));
  EXPECT_EQ(times.date("3:04"), at(2026, 11, 20, 3, 4));
  EXPECT_EQ(times.date("25:00"), std::nullopt);
  EXPECT_EQ(times.date("13:00 PM"), std::nullopt);
}

TEST(Parsing, WordsForDaysAreRead) {
  const Tests::FixedClock clock(now);
  const WallClock::Replacement replacement(clock);
  Reading dates("en", Style::medium, Style::none);
  EXPECT_EQ(dates.date("Yesterday"), std::nullopt);
  dates.setDoesRelativeDateFormatting(true);
  EXPECT_EQ(dates.date("yesterday"), at(2026, 11, 19));
  EXPECT_EQ(dates.date("Feb 1, 2023"), at(2023, 2, 1));
  Reading times("de", Style::medium, Style::short_);
  times.setDoesRelativeDateFormatting(true);
  EXPECT_EQ(times.date("Übermorgen, 9:30"), at(2026, 11, 22, 9, 30));
  EXPECT_EQ(times.date("heute 9:30"), at(2026, 11, 20, 9, 30));
}

TEST(Parsing, TimeThatAZoneSkipsIsRefused) {
  Reading dates("en", Style::short_, Style::short_);
  dates.setTimeZone(TimeZone::from("Europe/Berlin"));
  EXPECT_EQ(dates.date("3/26/23, 2:30 AM"), std::nullopt);
  EXPECT_EQ(dates.date("3/26/23, 3:30 AM"), at(2023, 3, 26, 1, 30));
}

TEST(Parsing, DayWithoutAMidnightBeginsLater) {
  Reading dates("en", Style::medium, Style::none);
  dates.setTimeZone(TimeZone::from("America/Sao_Paulo"));
  for (const char* text : {"Nov 4, 2018", "nov 4 2018", "11/4/18", "2018-11-04"}) {
    EXPECT_EQ(dates.date(text), at(2018, 11, 4, 3)) << text;
  }
  EXPECT_EQ(dates.date("2018-11-31"), std::nullopt);
}

TEST(Parsing, StrictDatesOfEveryZoneAreThoseOfICU) {
  std::mt19937_64 random(22);
  std::uniform_real_distribution<double> instants(-1e9, 2.2e9);  // From 1938 to 2039.
  for (const char* locale : Tests::goldenLocales) {
    for (const char* zone : {"GMT", "Europe/Berlin", "America/St_Johns", "Asia/Kathmandu", "Australia/Lord_Howe"}) {
      for (const Style style : {Style::short_, Style::medium, Style::full}) {
        Reading dates(locale, style, style == Style::full ? Style::short_ : Style::medium);
        dates.setTimeZone(TimeZone::from(zone));
        const std::unique_ptr<icu::DateFormat> format(icu::DateFormat::createDateTimeInstance(
            style == Style::short_ ? icu::DateFormat::kShort
                                   : (style == Style::medium ? icu::DateFormat::kMedium : icu::DateFormat::kFull),
            style == Style::full ? icu::DateFormat::kShort : icu::DateFormat::kMedium, icu::Locale(locale)));
        format->adoptTimeZone(icu::TimeZone::createTimeZone(zone));
        for (int turn = 0; turn < Tests::repetitions(5); ++turn) {
          // Half of them in the two hours around the end of the summer time of 2023 in Europe.
          const double seconds = turn % 2 == 0 ? instants(random) : 1'698'537'600 + std::fmod(instants(random), 3600);
          const std::string text = dates.string(Date::since1970(seconds));
          UErrorCode status = U_ZERO_ERROR;
          const UDate expected = format->parse(icu::UnicodeString::fromUTF8(text), status);
          ASSERT_TRUE(U_SUCCESS(status)) << locale << ": " << text;
          EXPECT_EQ(dates.date(text, Parsing::strict), Date::since1970(expected / 1000)) << locale << zone << text;
        }
      }
    }
  }
}

TEST(Parsing, StrictDateIsOnlyTheTextThatTheFormatterWrites) {
  const Reading dates("en", Style::medium, Style::none);
  EXPECT_EQ(dates.date("Feb 1, 2023", Parsing::strict), at(2023, 2, 1));
  EXPECT_EQ(dates.date("feb 1, 2023", Parsing::strict), std::nullopt);
  EXPECT_EQ(dates.date("Feb 01, 2023", Parsing::strict), std::nullopt);
  EXPECT_EQ(dates.date("2/1/23", Parsing::strict), std::nullopt);
  EXPECT_EQ(dates.date("Feb 1, 123", Parsing::strict), at(123, 1, 31));  // Julian until 1582.
  EXPECT_EQ(Reading("en", Style::none, Style::none).date("", Parsing::strict), std::nullopt);
}

TEST(Parsing, ReadsEveryDateThatIsWrittenInAnyLocale) {
  const Tests::FixedClock clock(now);
  const WallClock::Replacement replacement(clock);
  for (const std::string& locale : Tests::comparedLocales()) {
    if (locale.find('@') != std::string::npos || locale.starts_with("haw"))
      continue;  // Hawaiian months are Roman numbers.
    for (const Style dateStyle : {Style::none, Style::short_, Style::medium, Style::long_, Style::full}) {
      for (const Style timeStyle : {Style::none, Style::short_, Style::medium}) {
        if (dateStyle == Style::none && timeStyle == Style::none) continue;
        Reading dates(locale.c_str(), dateStyle, timeStyle);
        for (const bool isRelative : {false, true}) {
          dates.setDoesRelativeDateFormatting(isRelative);
          for (const Date date : {at(2023, 1, 2, 15, 4), now, now - 86'400}) {
            const std::string text = dates.string(date);
            const std::optional<Date> read = dates.date(text, Parsing::strict);
            ASSERT_TRUE(read.has_value()) << locale << ": " << text;
            EXPECT_EQ(dates.string(*read), text) << locale;
          }
        }
      }
    }
  }
}

TEST(Parsing, FieldOfDatesShowsTheDateInItsOwnLength) {
  const Tests::FixedClock clock(now);
  const WallClock::Replacement replacement(clock);
  FieldEditing birthday(std::make_shared<Reading>("de", Style::long_, Style::none));
  EXPECT_EQ(birthday.end("1.2.2023").text, "1. Februar 2023");
  FieldNotice notice;
  EXPECT_EQ(birthday.state("31.2.2023", &notice), FieldState::incomplete);
  EXPECT_EQ(notice.reason, "“31.2.2023” is not a date.");
}

TEST(Parsing, LongDatesAreRefused) {
  const std::string digits(1'000'000, '7');
  EXPECT_EQ(Reading("en", Style::medium, Style::none).date(digits), std::nullopt);
}

TEST(Parsing, ThreadsReadDatesAtTheSameTime) {
  std::vector<std::jthread> threads;
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([] {
      for (const char* locale : Tests::goldenLocales) {
        EXPECT_EQ(Reading(locale, Style::medium, Style::none).date("2023-02-01"), at(2023, 2, 1)) << locale;
      }
    });
  }
}

}  // namespace
}  // namespace Tessaly
