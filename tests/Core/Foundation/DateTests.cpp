// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <csignal>
#include <ctime>
#include <limits>
#include <random>
#include <sstream>
#include <unordered_set>

#include "Tessaly/Core/Foundation/Date.hpp"

namespace Tessaly::inline v1 {
namespace {

using ::testing::KilledBySignal;
using ::testing::MatchesRegex;
using namespace std::chrono_literals;
using SystemClock = std::chrono::system_clock;

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

TEST(Date, CountsSecondsFromTheReferenceDate) {
  constexpr Date date = Date::sinceReferenceDate(10.5);
  static_assert(date.timeIntervalSinceReferenceDate() == 10.5);
  static_assert(date.timeIntervalSince1970() == 978'307'210.5);
  EXPECT_EQ(Date::since1970(978'307'200), Date::sinceReferenceDate(0));
  EXPECT_EQ(date.timeIntervalSince(Date::sinceReferenceDate(11)), -0.5);
}

TEST(Date, IsMovedBySeconds) {
  Date date = Date::sinceReferenceDate(1);
  EXPECT_EQ(date + 2.5, Date::sinceReferenceDate(3.5));
  EXPECT_EQ(date - 2.5, Date::sinceReferenceDate(-1.5));
  date += 4;
  date -= 1;
  EXPECT_EQ(date, Date::sinceReferenceDate(4));
}

TEST(Date, IsOrderedByTime) {
  EXPECT_LT(Date::distantPast(), Date::sinceReferenceDate(0));
  EXPECT_LT(Date::sinceReferenceDate(0), Date::distantFuture());
  EXPECT_EQ(Date::sinceReferenceDate(0.0), Date::sinceReferenceDate(-0.0));
  EXPECT_NE(Date::sinceReferenceDate(notANumber), Date::sinceReferenceDate(notANumber));
  EXPECT_EQ(Date::sinceReferenceDate(notANumber) <=> Date::now(), std::partial_ordering::unordered);
}

TEST(Date, EqualDatesHashAlike) {
  const std::unordered_set<Date> dates{Date::sinceReferenceDate(0.0), Date::sinceReferenceDate(-0.0),
                                       Date::sinceReferenceDate(1)};
  EXPECT_EQ(dates.size(), 2u);
}

TEST(Date, IsDescribedInUniversalTime) {
  EXPECT_EQ(Date::since1970(1'672'671'845).description(), "2023-01-02 15:04:05 +0000");
  EXPECT_EQ(Date::sinceReferenceDate(0).description(), "2001-01-01 00:00:00 +0000");
  EXPECT_EQ(Date::since1970(0.999).description(), "1970-01-01 00:00:00 +0000");
  EXPECT_EQ(Date::since1970(-0.001).description(), "1969-12-31 23:59:59 +0000");
  EXPECT_EQ(Date::since1970(951'782'400).description(), "2000-02-29 00:00:00 +0000");
  EXPECT_EQ(Date::distantPast().description(), "0000-12-30 00:00:00 +0000");
  EXPECT_EQ(Date::distantFuture().description(), "4001-01-01 00:00:00 +0000");
  std::ostringstream stream;
  stream << Date::since1970(0);
  EXPECT_EQ(stream.str(), "1970-01-01 00:00:00 +0000");
}

TEST(Date, OutsideTheCalendarHasNoDescription) {
  for (const double seconds : {infinity, -infinity, notANumber, 1e15, -1e15, std::numeric_limits<double>::max()}) {
    EXPECT_EQ(Date::sinceReferenceDate(seconds).description(), "<description unavailable>");
  }
  EXPECT_EQ(Date::sinceReferenceDate(std::nextafter(1e15, 0)).description().size(), 29u);
}

TEST(Date, DescriptionMatchesTheSystemsCalendar) {
  std::mt19937_64 random(2001);
  for (int round = 0; round < 20'000; ++round) {
    const auto seconds = static_cast<std::int64_t>(random() % 600'000'000'000) - 300'000'000'000;
    const std::time_t time = seconds;
    std::tm parts{};
    ASSERT_NE(::gmtime_r(&time, &parts), nullptr);
    if (parts.tm_year + 1900 < 0) continue;
    char expected[64];
    std::snprintf(expected, sizeof expected, "%04d-%02d-%02d %02d:%02d:%02d +0000", parts.tm_year + 1900,
                  parts.tm_mon + 1, parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec);
    ASSERT_EQ(Date::since1970(static_cast<double>(seconds)).description(), expected);
  }
}

TEST(Date, AcceptsTimePointsOfAnyPrecision) {
  using std::chrono::sys_days;
  EXPECT_EQ(Date(sys_days(std::chrono::year(2001) / 1 / 1)), Date::sinceReferenceDate(0));
  EXPECT_EQ(Date(SystemClock::time_point(978'307'200s + 1ns)).timeIntervalSinceReferenceDate(), 1e-9);
  EXPECT_EQ(Date(SystemClock::time_point(978'307'200s - 1ns)).timeIntervalSinceReferenceDate(), -1e-9);
  EXPECT_EQ(Date(std::chrono::sys_time<std::chrono::milliseconds>(1500ms)), Date::since1970(1.5));
  EXPECT_EQ(Date(std::chrono::sys_time<std::chrono::duration<double>>(std::chrono::duration<double>(0.25))),
            Date::since1970(0.25));
  // Neither end of the range overflows.
  EXPECT_LT(Date(SystemClock::time_point::min()), Date(SystemClock::time_point::max()));
  EXPECT_LT(Date(std::chrono::sys_seconds::min()), Date(std::chrono::sys_seconds::max()));
}

TEST(Date, BecomesTheNearestTimePoint) {
  EXPECT_EQ(Date::since1970(1.5).timePoint(), SystemClock::time_point(1500ms));
  EXPECT_EQ(Date::since1970(-1.5).timePoint(), SystemClock::time_point(-1500ms));
  EXPECT_EQ(Date::sinceReferenceDate(1e-9).timePoint(), SystemClock::time_point(978'307'200s + 1ns));
  const auto now = SystemClock::now();
  EXPECT_LT(std::chrono::abs(Date(now).timePoint() - now), 1us);
}

TEST(Date, OutOfRangeDateBecomesTheNearestTimePoint) {
  for (const double seconds : {1e10, 1e300, infinity}) {
    EXPECT_EQ(Date::sinceReferenceDate(seconds).timePoint(), SystemClock::time_point::max());
    EXPECT_EQ(Date::sinceReferenceDate(-2 * seconds).timePoint(), SystemClock::time_point::min());
  }
  EXPECT_EQ(Date::distantFuture().timePoint(), SystemClock::time_point::max());
  EXPECT_EQ(Date::distantPast().timePoint(), SystemClock::time_point::min());
}

TEST(Date, TimePointOfNaNStopsTheProcess) {
  EXPECT_EXIT(static_cast<void>(Date::sinceReferenceDate(notANumber).timePoint()), KilledBySignal(SIGABRT),
              MatchesRegex("Tessaly/Date:[0-9]+: Fatal error: A date that is not a number has no time point\n"));
}

TEST(Date, NowIsBetweenTwoReadingsOfTheSystemClock) {
  const Date before(SystemClock::now());
  const Date now = Date::now();
  const Date after(SystemClock::now());
  EXPECT_LE(before, now);
  EXPECT_LE(now, after);
}

struct FixedClock final : WallClock {
  explicit FixedClock(Date date) : date(date) {}
  [[nodiscard]] Date now() const noexcept override { return date; }
  Date date;
};

TEST(WallClock, ReplacementGivesTheTimeForItsScope) {
  const FixedClock outer(Date::since1970(1));
  const FixedClock inner(Date::since1970(2));
  {
    const WallClock::Replacement outerReplacement(outer);
    EXPECT_EQ(Date::now(), Date::since1970(1));
    {
      const WallClock::Replacement innerReplacement(inner);
      EXPECT_EQ(Date::now(), Date::since1970(2));
    }
    EXPECT_EQ(Date::now(), Date::since1970(1));
  }
  EXPECT_GT(Date::now(), Date::since1970(1'672'671'845));
}

}  // namespace
}  // namespace Tessaly::inline v1
