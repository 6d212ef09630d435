// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <limits>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "Tessaly/Formatting/FormattingService.hpp"
#include "Tessaly/Platform/Text/Locale.hpp"
#include "Tessaly/Platform/Text/TimeZone.hpp"
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

/// Greenwich time, and the locale that the system has.
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
  FormattingServiceInEgypt() : FormattingService("ar") {}
};
class FormattingServiceNowhere : public FormattingService {
 protected:
  FormattingServiceNowhere() : FormattingService("") {}
};
using FormattingServiceDeathTest = FormattingService;

TEST_F(FormattingService, WritesNumbersAsTheGoldenRowsSay) {
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

TEST_F(FormattingService, WritesDatesAsTheGoldenRowsSay) {
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

TEST_F(FormattingService, WritesRelativeDatesAsTheGoldenRowsSay) {
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

TEST_F(FormattingServiceInBritain, TakesTheLanguageOfTheCurrentLocaleWhenNoneIsGiven) {
  EXPECT_EQ(Dates::mediumDate(someDate, true), "2 Jan 2023, 15:04");
  setLanguage("fr");
  EXPECT_EQ(Dates::mediumDate(someDate, true), "2 janv. 2023, 15:04");
  setLanguage(std::nullopt);
  EXPECT_EQ(Dates::mediumDate(someDate, true), "Jan 2, 2023, 3:04\u202FPM");
}

TEST_F(FormattingServiceNowhere, GoesBackToTheCurrentLocaleWhenThatHasNoLanguage) {
  setLanguage("fr");
  EXPECT_EQ(Number::limitedFractionDigit(0.5, 2), "0,5");
  setLanguage(std::nullopt);
  const Locale arabic("ar");
  const Locale::Replacement replacement(arabic);
  EXPECT_EQ(Number::limitedFractionDigit(0.5, 2), "٠٫٥");
}

TEST_F(FormattingService, ChangesTheLanguageOfNeitherBytesNorDurationsNorISO8601) {
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

TEST_F(FormattingService, LeavesDateAndTimeOutAsTold) {
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

TEST_F(FormattingService, PutsSecondsInPlaceOfTheZeroOfTheirLabel) {
  EXPECT_EQ(Duration::seconds(12.5), "12.5s");
  EXPECT_EQ(Duration::seconds(0), "0s");
  EXPECT_EQ(Duration::seconds(100), "100s");
  EXPECT_EQ(Duration::seconds(1.005), "1s");
  EXPECT_EQ(Duration::seconds(-1.5), "-1.5s");
  EXPECT_EQ(Duration::seconds(std::nan("")), "NaNs");
  setLanguage("fr");  // The number's language and the label's may differ.
  EXPECT_EQ(Duration::seconds(12.5), "12,5s");
}

TEST_F(FormattingServiceInEgypt, LeavesALabelWithoutTheDigitAsItIs) { EXPECT_EQ(Duration::seconds(12.5), "٠ ث"); }

TEST_F(FormattingService, SignsChanges) {
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

TEST_F(FormattingService, WritesLevels) {
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

TEST_F(FormattingService, ForgetsTheDigitsOfTheLastCall) {
  EXPECT_EQ(Number::limitedFractionDigit(1.23456, 4), "1.2346");
  EXPECT_EQ(Duration::seconds(1.23456), "1.23s");
  EXPECT_EQ(Number::limitedFractionDigit(1.23456, 0), "1");
  EXPECT_EQ(Number::limitedFractionDigit(1.5, -3), "2");
  EXPECT_EQ(Number::limitedFractionDigit(0.1, std::numeric_limits<std::int64_t>::max()), "0.1");
}

TEST_F(FormattingService, WritesSomethingInLanguagesThatNobodyKnows) {
  for (const std::string& code : {std::string(), std::string("xx"), std::string("not a language"), std::string("\xFF"),
                                  std::string(100'000, 'a'), std::string("de\0fr", 5), std::string("@@@")}) {
    setLanguage(code);
    EXPECT_FALSE(Number::percent(0.5).empty());
    EXPECT_FALSE(Number::bpm(-5).empty());
    EXPECT_FALSE(Dates::mediumDate(someDate, true).empty());
    EXPECT_FALSE(Dates::relative(someDate, Style::full, true, true).empty());
  }
}

TEST_F(FormattingService, WritesNothingOfWhatIsNoDate) {
  for (const double seconds : {std::nan(""), infinity, -infinity}) {
    EXPECT_EQ(Dates::relative(Date::since1970(seconds), Style::full, true, true), "");
    EXPECT_EQ(Dates::mediumDate(Date::since1970(seconds), true), "");
    EXPECT_EQ(Dates::iso8601(Date::since1970(seconds)), "");
  }
}

TEST_F(FormattingService, ShowsAChangeOfLanguageToEveryLaterCallOnEveryThread) {
  for (int round = 0; round < Tests::repetitions(200); ++round) {
    const bool isFrench = round % 2 == 0;
    setLanguage(isFrench ? "fr" : "en");
    std::thread([&] { EXPECT_EQ(Number::limitedFractionDigit(0.5, 1), isFrench ? "0,5" : "0.5"); }).join();
    EXPECT_EQ(Number::limitedFractionDigit(0.5, 1), isFrench ? "0,5" : "0.5");
  }
}

TEST_F(FormattingService, WritesEveryTextWholeWhileTheLanguageChanges) {
  const std::vector<std::string> languages{"en", "de", "ar", "sv", "hi"};
  // Which texts the languages have; a thread must get one of them, never a mixture.
  std::vector<std::vector<std::string>> expected(4);
  const auto texts = [](int fractions) {
    return std::vector<std::string>{Number::limitedFractionDigit(-1234.5678, fractions), Number::percent(12.5),
                                    Number::bpm(-119.5), Dates::mediumDate(someDate, true)};
  };
  for (const std::string& language : languages) {
    setLanguage(language);
    const auto ours = texts(2);
    for (std::size_t index = 0; index < ours.size(); ++index) expected[index].push_back(ours[index]);
  }
  std::atomic<int> wrong = 0;
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 8; ++thread) {
    threads.emplace_back([&, thread] {
      for (int round = 0; round < Tests::repetitions(100); ++round) {
        if (thread == 0) setLanguage(languages[static_cast<std::size_t>(round) % languages.size()]);
        const auto found = texts(2);
        for (std::size_t index = 0; index < found.size(); ++index) {
          if (std::ranges::find(expected[index], found[index]) == expected[index].end()) ++wrong;
        }
        static_cast<void>(Number::limitedFractionDigit(1.5, thread));  // Nobody else must see these digits.
        if (Duration::positional(543) != "9:03" || Bytes::string(1'500'000) != "1.5 MB") ++wrong;
        if (Dates::iso8601(someDate) != "2023-01-02T15:04:05Z") ++wrong;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0);
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
