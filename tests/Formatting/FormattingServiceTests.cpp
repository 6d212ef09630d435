// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <limits>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "Tessaly/Core/Formatters/TimeZone.hpp"
#include "Tessaly/Core/Text/Locale.hpp"
#include "Tessaly/Formatting/FormattingService.hpp"
#include "tests/Support/FixedClock.hpp"
#include "tests/Support/GoldenRows.hpp"
#include "tests/Support/Repetitions.hpp"

namespace Tessaly {
namespace {

using Style = DateFormatter::Style;
namespace Bytes = FormattingService::Bytes;
namespace Dates = FormattingService::Date;
namespace Duration = FormattingService::Duration;
namespace Number = FormattingService::Number;
using FormattingService::setLanguage;

constexpr double infinity = std::numeric_limits<double>::infinity();
const Date someDate = Date::since1970(1'672'671'845);  // 2023-01-02 15:04:05 UTC

/// Greenwich time, and the locale of the system.
class FormattingService : public ::testing::Test {
 protected:
  explicit FormattingService(const char* locale = "en_US") : locale_(locale), replacement_(locale_), zone_(gmt_) {}

 private:
  const Locale locale_;
  const Locale::Replacement replacement_;
  const TimeZone gmt_ = TimeZone::gmt();
  const TimeZone::Replacement zone_;
};
class FormattingServiceInBritain : public FormattingService {
 protected:
  FormattingServiceInBritain() : FormattingService("en_GB") {}
};
class FormattingServiceInEgypt : public FormattingService {
 protected:
  FormattingServiceInEgypt() : FormattingService("ar_EG") {}
};
class FormattingServiceNowhere : public FormattingService {
 protected:
  FormattingServiceNowhere() : FormattingService("") {}
};
using FormattingServiceDeathTest = FormattingService;

TEST_F(FormattingService, NumbersEqualTheGoldenRows) {
  const std::pair<const char*, std::string (*)(double)> kinds[] = {
      {"noFraction", Number::noFractionDigit},
      {"limited2", [](double value) { return Number::limitedFractionDigit(value, 2); }},
      {"bpm", Number::bpm},
      {"percent", Number::percent},
      {"decibelText", [](double value) { return Number::decibel(static_cast<float>(value)).substr(1); }}};
  for (const auto& [rows, write] : kinds) {
    for (const auto& row : Tests::goldenRows(rows)) {
      setLanguage(row.locale);
      EXPECT_EQ(write(std::stod(row.input)), row.output) << rows << ' ' << row.locale << ' ' << row.input;
    }
  }
}

TEST_F(FormattingService, DatesEqualTheGoldenRows) {
  const std::map<std::string, Date> dates{{"d1", someDate}, {"d2", Date::since1970(1'704'013'620)}};
  for (const auto& row : Tests::goldenRows("mediumDate")) {
    setLanguage(row.locale);
    EXPECT_EQ(Dates::mediumDate(dates.at(row.input), false), row.output) << row.locale;
  }
  for (const auto& row : Tests::goldenRows("mediumDate+time")) {
    setLanguage(row.locale);
    EXPECT_EQ(Dates::mediumDate(dates.at(row.input), true), row.output) << row.locale;
  }
  for (const auto& row : Tests::goldenRows("timeOnly")) {
    setLanguage(row.locale);
    EXPECT_EQ(Dates::relative(dates.at(row.input), Style::medium, false, true), row.output) << row.locale;
  }
}

TEST_F(FormattingService, RelativeDatesEqualTheGoldenRows) {
  const Date today = Date::since1970(1'795'187'040);  // 2026-11-20 15:04:00 UTC
  const Tests::FixedClock clock(today);
  const WallClock::Replacement replacement(clock);
  for (const auto& [name, style] : {std::pair("short", Style::short_), std::pair("medium", Style::medium),
                                    std::pair("long", Style::long_), std::pair("full", Style::full)}) {
    for (const bool includeTime : {false, true}) {
      for (const auto& row : Tests::goldenRows(std::string("relative-") + name + (includeTime ? "+time" : ""))) {
        setLanguage(row.locale);
        EXPECT_EQ(Dates::relative(today + std::stod(row.input.substr(3)) * 86'400, style, true, includeTime),
                  row.output)
            << name << ' ' << row.locale << ' ' << row.input;
      }
    }
  }
}

TEST_F(FormattingService, FollowsTheCurrentLocaleUntilALanguageIsChosen) {
  EXPECT_EQ(Number::noFractionDigit(-1), "-1");
  EXPECT_EQ(Dates::mediumDate(someDate, true), "Jan 2, 2023, 3:04\u202FPM");
  const Locale german("de");
  const Locale::Replacement replacement(german);
  EXPECT_EQ(Dates::mediumDate(someDate, true), "02.01.2023, 15:04");
  EXPECT_EQ(Number::limitedFractionDigit(0.5, 2), "0,5");
}

TEST_F(FormattingServiceInBritain, AbsentChoiceTakesTheLocalesLanguage) {
  EXPECT_EQ(Dates::mediumDate(someDate, true), "2 Jan 2023, 15:04");
  setLanguage("fr");
  EXPECT_EQ(Dates::mediumDate(someDate, true), "2 janv. 2023, 15:04");
  setLanguage(std::nullopt);
  EXPECT_EQ(Dates::mediumDate(someDate, true), "Jan 2, 2023, 3:04\u202FPM");
}

TEST_F(FormattingServiceNowhere, ReturnsToACurrentLocaleWithoutLanguage) {
  setLanguage("fr");
  EXPECT_EQ(Number::limitedFractionDigit(0.5, 2), "0,5");
  setLanguage(std::nullopt);
  const Locale arabic("ar_EG");
  const Locale::Replacement replacement(arabic);
  EXPECT_EQ(Number::limitedFractionDigit(0.5, 2), "٠٫٥");
}

TEST_F(FormattingService, SetLanguageKeepsBytesDurationsAndISO8601) {
  setLanguage("ar");
  EXPECT_EQ(Bytes::string(1'500'000), "1.5 MB");
  EXPECT_EQ(Duration::positional(543), "9:03");
  EXPECT_EQ(Duration::full(3660), "1 hour, 1 minute");
  EXPECT_EQ(Duration::abbreviated(3660), "1h 1m");
  EXPECT_EQ(Duration::fullSecondsAndMinutes(61), "1 minute, 1 second");
  EXPECT_EQ(Dates::iso8601(someDate), "2023-01-02T15:04:05Z");
}

TEST_F(FormattingService, SpellsZeroBytes) {
  EXPECT_EQ(Bytes::string(0), "Zero kB");
  EXPECT_EQ(Bytes::gigaBytes(0), "Zero kB");
}

TEST_F(FormattingService, CountsDecimalGigabytes) {
  EXPECT_EQ(Bytes::gigaBytes(1), "1 GB");
  EXPECT_EQ(Bytes::gigaBytes(-2), "-2 GB");
  EXPECT_EQ(Bytes::gigaBytes(1500), "1.5 TB");
  EXPECT_EQ(Bytes::gigaBytes(9'223'372'036), "9,223.37 PB");
}

TEST_F(FormattingServiceDeathTest, TooManyGigabytesStopTheProcess) {
  EXPECT_DEATH(static_cast<void>(Bytes::gigaBytes(9'223'372'037)),
               "Tessaly/FormattingService:[0-9]+: Fatal error: The number of bytes does not fit in 64 bits");
  EXPECT_DEATH(static_cast<void>(Bytes::gigaBytes(std::numeric_limits<std::int64_t>::min())), "does not fit");
}

TEST_F(FormattingService, OmitsDateOrTimeOnRequest) {
  const Tests::FixedClock clock(someDate);
  const WallClock::Replacement replacement(clock);
  EXPECT_EQ(Dates::relative(someDate, Style::medium, true, false), "Today");
  EXPECT_EQ(Dates::relative(someDate, Style::medium, true, true), "Today, 3:04\u202FPM");
  EXPECT_EQ(Dates::relative(someDate, Style::medium, false, true), "3:04\u202FPM");
  EXPECT_EQ(Dates::relative(someDate, Style::medium, false, false), "");
  EXPECT_EQ(Dates::relative(someDate, Style::none, true, false), "");
}

TEST_F(FormattingService, MakesANewISO8601FormatterEachTime) {
  const auto first = Dates::iso8601();
  const auto second = Dates::iso8601();
  EXPECT_NE(first, second);
  EXPECT_EQ(first->string(someDate), "2023-01-02T15:04:05Z");
}

TEST_F(FormattingService, WritesPositionalDurations) {
  EXPECT_EQ(Duration::positional(0), "0:00");
  EXPECT_EQ(Duration::positional(59.9), "0:59");
  EXPECT_EQ(Duration::positional(3600), "60:00");
  EXPECT_EQ(Duration::positional(3600.5), "1:00:00");
  EXPECT_EQ(Duration::positional(93'784), "26:03:04");
  EXPECT_EQ(Duration::positional(-30), "0:30");
  EXPECT_EQ(Duration::positional(-7200), "-120:00");
  EXPECT_EQ(Duration::positional(std::nan("")), "");
  EXPECT_EQ(Duration::positional(infinity), "");
}

TEST_F(FormattingService, WritesDurationsInWords) {
  EXPECT_EQ(Duration::full(0), "0 minutes");
  EXPECT_EQ(Duration::full(7200), "2 hours");
  EXPECT_EQ(Duration::full(-5400), "-1 hour, 30 minutes");
  EXPECT_EQ(Duration::abbreviated(30), "0m");
  EXPECT_EQ(Duration::abbreviated(360'300), "100h 5m");
  EXPECT_EQ(Duration::fullSecondsAndMinutes(0), "0 seconds");
  EXPECT_EQ(Duration::fullSecondsAndMinutes(543.9), "9 minutes, 3 seconds");
  EXPECT_EQ(Duration::fullSecondsAndMinutes(std::nan("")), "");
  EXPECT_NE(Duration::full(std::numeric_limits<std::int64_t>::max()), "");
  EXPECT_NE(Duration::abbreviated(std::numeric_limits<std::int64_t>::min()), "");
}

TEST_F(FormattingService, SecondsReplaceTheZeroOfTheirLabel) {
  EXPECT_EQ(Duration::seconds(12.5), "12.5s");
  EXPECT_EQ(Duration::seconds(0), "0s");
  EXPECT_EQ(Duration::seconds(100), "100s");
  EXPECT_EQ(Duration::seconds(1.005), "1s");
  EXPECT_EQ(Duration::seconds(-1.5), "-1.5s");
  EXPECT_EQ(Duration::seconds(std::nan("")), "NaNs");
  setLanguage("fr");  // The languages of the number and of the label may differ.
  EXPECT_EQ(Duration::seconds(12.5), "12,5s");
}

TEST_F(FormattingServiceInEgypt, LabelWithoutTheDigitStaysUnchanged) { EXPECT_EQ(Duration::seconds(12.5), "٠ ث"); }

TEST_F(FormattingService, ChangesHaveASign) {
  EXPECT_EQ(Number::tempo(5), "+5%");
  EXPECT_EQ(Number::tempo(0), "0%");
  EXPECT_EQ(Number::tempo(-5), "-5%");
  for (std::int64_t change = 1; change <= 1000; ++change) {
    EXPECT_EQ(Number::tempo(change), "+" + (change < 1000 ? std::to_string(change) : "1,000") + "%");
  }
  EXPECT_EQ(Number::pitch(2), "+2");
  EXPECT_EQ(Number::pitch(0), "0");
  EXPECT_EQ(Number::pitch(-2), "-2");
  setLanguage("ar");
  EXPECT_EQ(Number::pitch(2), "+2");
  EXPECT_EQ(Number::pitch(std::numeric_limits<std::int64_t>::min()), "-9223372036854775808");
}

TEST_F(FormattingService, DecibelsHaveASignOrASpace) {
  EXPECT_EQ(Number::decibel(0), " 0.0");
  EXPECT_EQ(Number::decibel(0.5F), "+0.5");
  EXPECT_EQ(Number::decibel(-3), " -3.0");
  EXPECT_EQ(Number::decibel(0.04F), "+0.0");
  EXPECT_EQ(Number::decibel(-0.04F), " -0.0");
  EXPECT_EQ(Number::decibel(12.35F), "+12.4");
  EXPECT_EQ(Number::decibel(0.25F), "+0.2");
  EXPECT_EQ(Number::decibel(std::nanf("")), " NaN");
}

TEST_F(FormattingService, WritesBeatsWithTheSignOfApproximation) {
  EXPECT_EQ(Number::bpm(119.5), "120 bpm");
  EXPECT_EQ(Number::bpm(120.5), "121 bpm");
  EXPECT_EQ(Number::bpm(-119.5), "~120 bpm");
  setLanguage("fr");
  EXPECT_EQ(Number::bpm(-120), "≃120 bpm");
}

TEST_F(FormattingService, EachCallUsesItsOwnDigits) {
  EXPECT_EQ(Number::limitedFractionDigit(1.23456, 4), "1.2346");
  EXPECT_EQ(Duration::seconds(1.23456), "1.23s");
  EXPECT_EQ(Number::limitedFractionDigit(1.23456, 0), "1");
  EXPECT_EQ(Number::limitedFractionDigit(1.5, -3), "2");
  EXPECT_EQ(Number::limitedFractionDigit(0.1, std::numeric_limits<std::int64_t>::max()), "0.1");
}

TEST_F(FormattingService, WritesATextInUnknownLanguages) {
  for (const std::string& code : {std::string(), std::string("xx"), std::string("not a language"), std::string("\xFF"),
                                  std::string(100'000, 'a'), std::string("de\0fr", 5), std::string("@@@")}) {
    setLanguage(code);
    EXPECT_FALSE(Number::percent(0.5).empty());
    EXPECT_FALSE(Number::bpm(-5).empty());
    EXPECT_FALSE(Dates::mediumDate(someDate, true).empty());
    EXPECT_FALSE(Dates::relative(someDate, Style::full, true, true).empty());
  }
}

TEST_F(FormattingService, FindsTheLanguageOfEveryFormOfItsCode) {
  const std::pair<const char*, const char*> codes[] = {
      {"pt", "0,5"},           {"pt-BR", "0,5"},       {"PT_br", "0,5"}, {"fr_ZZ", "0,5"},
      {"de_DE.UTF-8", "0,5"},  {"zh-Hant-TW", "0.5"},  {"deu", "0,5"},   {"de@numbers=arab", "٠٫٥"},
      {"ar-u-nu-latn", "0.5"}, {"en_US_POSIX", "0.5"}, {"xx", "0.5"},    {"", "0.5"}};
  for (const auto& [code, text] : codes) {
    setLanguage(code);
    EXPECT_EQ(Number::limitedFractionDigit(0.5, 2), text) << code;
  }
}

TEST_F(FormattingService, WritesTheEndsOfEveryKindOfNumber) {
  struct Row {
    double value;
    const char* whole;
    const char* limited;
    const char* bpm;
    const char* percent;
    const char* decibel;
    const char* seconds;
    const char* positional;
  };
  const double most = std::numeric_limits<double>::max();
  for (const auto& [value, whole, limited, bpm, percent, decibel, seconds, positional] :
       {Row{std::nan(""), "NaN", "NaN", "NaN bpm", "NaN%", " NaN", "NaNs", ""},
        Row{infinity, "∞", "∞", "∞ bpm", "∞%", "+∞", "∞s", ""},
        Row{-infinity, "-∞", "-∞", "~∞ bpm", "-∞%", " -∞", "-∞s", ""},
        Row{-0.0, "-0", "-0", "~0 bpm", "-0%", " -0.0", "-0s", "0:00"},
        Row{std::numeric_limits<double>::denorm_min(), "0", "0", "0 bpm", "0%", " 0.0", "0s", "0:00"},
        Row{1e15, "1000000000000000", "1000000000000000", "1000000000000000 bpm", "100,000,000,000,000,000%",
            "+999999986991104.0", "1000000000000000s", "277,777,777,777:46:40"}}) {
    EXPECT_EQ(Number::noFractionDigit(value), whole);
    EXPECT_EQ(Number::limitedFractionDigit(value, 2), limited);
    EXPECT_EQ(Number::bpm(value), bpm);
    EXPECT_EQ(Number::percent(value), percent);
    EXPECT_EQ(Number::decibel(static_cast<float>(value)), decibel);
    EXPECT_EQ(Duration::seconds(value), seconds);
    EXPECT_EQ(Duration::positional(value), positional);
  }
  for (const double value : {most, -most}) {
    EXPECT_EQ(Number::percent(value), value > 0 ? "∞%" : "-∞%");
    // More than 42 digits before the point are written.
    EXPECT_EQ(Number::noFractionDigit(value), value > 0 ? "0" : "-0");
    for (const std::string& text :
         {Number::bpm(value), Duration::positional(value), Duration::fullSecondsAndMinutes(value)}) {
      EXPECT_GT(text.size(), 300U);
    }
  }
  EXPECT_EQ(Number::tempo(std::numeric_limits<std::int64_t>::max()), "+9,223,372,036,854,776,000%");
  EXPECT_EQ(Number::tempo(std::numeric_limits<std::int64_t>::min()), "-9,223,372,036,854,776,000%");
  EXPECT_EQ(Number::decibel(std::numeric_limits<float>::max()), "+340282346638528860000000000000000000000.0");
  EXPECT_EQ(Duration::full(std::numeric_limits<std::int64_t>::max()), "2,562,047,788,015,215 hours, 30 minutes");
}

TEST_F(FormattingService, WritesDatesBeyondEveryCalendar) {
  struct Row {
    double seconds;
    const char* medium;
    const char* iso8601;
  };
  for (const auto& [seconds, medium, iso8601] :
       {Row{253'402'300'800, "Jan 1, 10000, 12:00\u202FAM", "10000-01-01T00:00:00Z"},
        Row{-62'200'000'000, "Dec 19, 3, 2:13\u202FPM", "0003-12-19T14:13:20Z"},  // Before our era.
        Row{1e18, "Dec 20, 5828963, 12:00\u202FAM", "5828963-12-20T00:00:00Z"},
        Row{std::numeric_limits<double>::max(), "Dec 20, 5828963, 12:00\u202FAM", "5828963-12-20T00:00:00Z"},
        Row{std::numeric_limits<double>::lowest(), "Sep 20, 5838270, 12:00\u202FAM", "5838270-09-20T00:00:00Z"}}) {
    const Date date = Date::since1970(seconds);
    EXPECT_EQ(Dates::mediumDate(date, true), medium);
    EXPECT_EQ(Dates::relative(date, Style::medium, true, true), medium);
    EXPECT_EQ(Dates::iso8601(date), iso8601);
    for (const char* language : {"th", "fa", "ar_EG", "ja@calendar=japanese", "he@calendar=hebrew"}) {
      setLanguage(language);
      EXPECT_FALSE(Dates::mediumDate(date, true).empty()) << language;
      EXPECT_FALSE(Dates::relative(date, Style::full, true, true).empty()) << language;
    }
    setLanguage("en_US");
  }
}

TEST_F(FormattingService, WritesRightToLeftLanguagesWithoutMarksAroundThem) {
  const Tests::FixedClock clock(someDate);
  const WallClock::Replacement replacement(clock);
  setLanguage("he");
  EXPECT_EQ(Dates::mediumDate(someDate, true), "2 בינו׳ 2023, 15:04");
  EXPECT_EQ(Dates::relative(someDate, Style::medium, true, false), "היום");
  EXPECT_EQ(Number::percent(-0.5), "\u200E-50%");
  setLanguage("fa");
  EXPECT_EQ(Dates::mediumDate(someDate, true), "۱۲ دی ۱۴۰۱، ۱۵:۰۴");
  EXPECT_EQ(Dates::relative(someDate, Style::medium, true, false), "امروز");
  EXPECT_EQ(Number::limitedFractionDigit(-1.5, 1), "\u200E\u2212۱٫۵");
  setLanguage("ur");
  EXPECT_EQ(Number::limitedFractionDigit(-1.5, 1), "\u200E-1.5");
  EXPECT_EQ(Number::decibel(-1.5F), " \u200E-1.5");
  setLanguage("ar_EG");
  EXPECT_EQ(Number::bpm(-119.5), "~١٢٠ bpm");
  EXPECT_EQ(Number::tempo(5), "+٥٪\u061C");
}

TEST_F(FormattingService, InvalidDateGivesAnEmptyText) {
  for (const double seconds : {std::nan(""), infinity, -infinity}) {
    EXPECT_EQ(Dates::relative(Date::since1970(seconds), Style::full, true, true), "");
    EXPECT_EQ(Dates::mediumDate(Date::since1970(seconds), true), "");
    EXPECT_EQ(Dates::iso8601(Date::since1970(seconds)), "");
  }
}

TEST_F(FormattingService, LaterCallsOnEveryThreadUseAChangedLanguage) {
  for (int round = 0; round < Tests::repetitions(200); ++round) {
    const bool isFrench = round % 2 == 0;
    setLanguage(isFrench ? "fr" : "en");
    std::thread([&] { EXPECT_EQ(Number::limitedFractionDigit(0.5, 1), isFrench ? "0,5" : "0.5"); }).join();
    EXPECT_EQ(Number::limitedFractionDigit(0.5, 1), isFrench ? "0,5" : "0.5");
  }
}

TEST_F(FormattingService, EightThreadsUseTheCurrentLanguage) {
  constexpr std::array languages{"en", "de", "ar", "sv", "hi", "fr", "ja", "he", "th", "ru"};
  constexpr int changing = -1;
  using Texts = std::array<std::string, 6>;
  const auto texts = [] {
    return Texts{Number::limitedFractionDigit(-1234.5678, 2),
                 Number::percent(12.5),
                 Number::bpm(-119.5),
                 Number::decibel(-0.5F),
                 Dates::mediumDate(someDate, true),
                 Dates::relative(someDate, Style::full, true, true)};
  };
  std::array<Texts, languages.size()> expected;
  for (std::size_t index = 0; index < languages.size(); ++index) {
    setLanguage(languages[index]);
    expected[index] = texts();
  }

  std::mutex settersTurn;
  std::atomic<int> version = 0;
  std::atomic<int> current = changing;
  std::atomic<int> compared = 0;
  std::atomic<int> wrong = 0;
  std::vector<std::jthread> threads;
  for (std::size_t thread = 0; thread < 8; ++thread) {
    threads.emplace_back([&, thread] {
      for (int round = 0; round < Tests::repetitions(200); ++round) {
        if (round % 10 == 0) {
          const std::size_t next = (thread * 3 + static_cast<std::size_t>(round)) % languages.size();
          const std::lock_guard guard(settersTurn);
          current = changing;
          ++version;
          setLanguage(languages[next]);
          current = static_cast<int>(next);
          ++version;
        }
        const int before = version;
        const int language = current;
        const Texts found = texts();
        static_cast<void>(
            Number::limitedFractionDigit(1.5, static_cast<int>(thread)));  // No other locale has these digits.
        for (std::size_t index = 0; index < found.size(); ++index) {
          // At every moment, the text is the whole text of one of the languages.
          if (std::ranges::none_of(expected, [&](const Texts& one) { return one[index] == found[index]; })) ++wrong;
        }
        if (language != changing && version == before) {
          if (found != expected[static_cast<std::size_t>(language)]) ++wrong;
          ++compared;
        }
        if (Duration::positional(543) != "9:03" || Bytes::string(1'500'000) != "1.5 MB") ++wrong;
        if (Dates::iso8601(someDate) != "2023-01-02T15:04:05Z") ++wrong;
      }
    });
  }
  threads.clear();
  EXPECT_EQ(wrong, 0);
  EXPECT_GT(compared, 0);
}

struct FormatsAtTheEndOfItsThread {
  std::atomic<int>* count;
  ~FormatsAtTheEndOfItsThread() {
    if (Number::percent(0.5) == "50%") ++*count;
  }
};

TEST_F(FormattingService, FormatsWhileAThreadEnds) {
  std::atomic<int> count = 0;
  std::thread([&] {
    thread_local FormatsAtTheEndOfItsThread late{&count};
    EXPECT_EQ(Number::percent(0.5), "50%");
  }).join();
  EXPECT_EQ(count, 1);
}

}  // namespace
}  // namespace Tessaly
