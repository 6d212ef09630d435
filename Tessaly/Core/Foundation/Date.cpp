// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Foundation/Date.hpp"

#include <fmt/format.h>

#include <atomic>
#include <cmath>
#include <cstdint>
#include <ctime>
#include <ostream>

#include "Tessaly/Core/Base/FatalError.hpp"

namespace Tessaly::inline v1 {
namespace {

constinit std::atomic<const WallClock*> replacementClock{nullptr};

struct CivilDay {
  std::int64_t year;
  int month;
  int day;
};

/// The Gregorian date of a day counted from 1970-01-01. The method is Howard Hinnant's: years begin in March, and 400
/// years have 146,097 days. `std::chrono::year` is too small, because it ends at 32767.
CivilDay civilDay(std::int64_t daysSince1970) noexcept {
  const std::int64_t days = daysSince1970 + 719'468;
  const std::int64_t era = (days >= 0 ? days : days - 146'096) / 146'097;
  const std::int64_t dayOfEra = days - era * 146'097;
  const std::int64_t yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36'524 - dayOfEra / 146'096) / 365;
  const std::int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  const std::int64_t marchMonth = (5 * dayOfYear + 2) / 153;
  const int day = static_cast<int>(dayOfYear - (153 * marchMonth + 2) / 5 + 1);
  const int month = static_cast<int>(marchMonth < 10 ? marchMonth + 3 : marchMonth - 9);
  return {yearOfEra + era * 400 + (month <= 2 ? 1 : 0), month, day};
}

}  // namespace

Date Date::now() noexcept {
  if (const auto* clock = replacementClock.load(std::memory_order_acquire)) return clock->now();
  return Date(std::chrono::system_clock::now());
}

std::chrono::system_clock::time_point Date::timePoint() const noexcept {
  using TimePoint = std::chrono::system_clock::time_point;
  if (std::isnan(seconds_)) fatalError("A date that is not a number has no time point", "Tessaly/Date", __LINE__);
  // Whole and fractional seconds are converted separately, because a sum would round the fraction.
  const double whole = std::floor(seconds_);
  constexpr double ticksPerSecond = TimePoint::period::den;
  constexpr double referenceDate = timeIntervalBetween1970AndReferenceDate;
  constexpr double limit = 9'223'372'036.0;  // Whole seconds of 2^63 ns.
  if (whole + referenceDate >= limit) return TimePoint::max();
  if (whole + referenceDate < -limit) return TimePoint::min();
  const auto ticks = static_cast<std::int64_t>(std::round((seconds_ - whole) * ticksPerSecond));
  return TimePoint(std::chrono::seconds(static_cast<std::int64_t>(whole + referenceDate)) + TimePoint::duration(ticks));
}

std::string Date::description() const {
  if (!(std::abs(seconds_) < 1e15)) return "<description unavailable>";
  constexpr std::int64_t secondsOfDay = 86'400;
  const std::int64_t seconds = static_cast<std::int64_t>(std::floor(seconds_)) + 978'307'200;
  const std::int64_t days = (seconds >= 0 ? seconds : seconds - (secondsOfDay - 1)) / secondsOfDay;
  const std::int64_t second = seconds - days * secondsOfDay;
  const CivilDay day = civilDay(days);
  return fmt::format("{:04}-{:02}-{:02} {:02}:{:02}:{:02} +0000", day.year, day.month, day.day, second / 3600,
                     second / 60 % 60, second % 60);
}

std::ostream& operator<<(std::ostream& stream, Date date) { return stream << date.description(); }

WallClock::~WallClock() = default;

WallClock::Replacement::Replacement(const WallClock& clock) noexcept
    : previous_(replacementClock.exchange(&clock, std::memory_order_acq_rel)) {}

WallClock::Replacement::~Replacement() { replacementClock.store(previous_, std::memory_order_release); }

}  // namespace Tessaly::inline v1
