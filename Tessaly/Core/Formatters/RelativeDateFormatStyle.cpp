// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Formatters/RelativeDateFormatStyle.hpp"

#include <unicode/calendar.h>
#include <unicode/locid.h>
#include <unicode/reldatefmt.h>
#include <unicode/timezone.h>

#include <array>
#include <chrono>
#include <cmath>
#include <memory>
#include <utility>

#include "Tessaly/Core/Base/detail/PerThread.hpp"
#include "Tessaly/Core/Formatters/detail/NumberText.hpp"
#include "Tessaly/Core/Formatters/detail/PluralCategories.hpp"
#include "Tessaly/Core/Text/detail/RecentlyUsed.hpp"
#include "Tessaly/Core/Text/detail/UTF16Output.hpp"

namespace Tessaly::inline v1 {
namespace {

using Unit = RelativeDateFormatStyle::Unit;
using Width = RelativeDateFormatStyle::Width;
using Presentation = RelativeDateFormatStyle::Presentation;

constexpr std::array unitsOfICU{UDAT_REL_UNIT_YEAR, UDAT_REL_UNIT_QUARTER, UDAT_REL_UNIT_MONTH,  UDAT_REL_UNIT_WEEK,
                                UDAT_REL_UNIT_DAY,  UDAT_REL_UNIT_HOUR,    UDAT_REL_UNIT_MINUTE, UDAT_REL_UNIT_SECOND};

struct Key {
  std::string locale;
  Width width;
  bool operator==(const Key&) const noexcept = default;
  bool operator==(const std::pair<const std::string&, Width>& sought) const noexcept {
    return width == sought.second && locale == sought.first;
  }
  explicit Key(const std::pair<const std::string&, Width>& sought) : locale(sought.first), width(sought.second) {}
};

/// The prepared data of one locale and width. ICU writes the first whole amount of each unit, direction and plural
/// category. Later amounts reuse the texts around it.
class Engine {
 public:
  explicit Engine(const Key& key) : name_(key.locale), forms_(key.locale, PluralRules::Kind::cardinal) {
    icu::Locale locale(key.locale.c_str());
    if (locale.isBogus()) locale = icu::Locale::getRoot();
    UErrorCode status = U_ZERO_ERROR;
    format_ = std::make_unique<icu::RelativeDateTimeFormatter>(
        locale, nullptr, static_cast<UDateRelativeDateTimeFormatterStyle>(key.width), UDISPCTX_CAPITALIZATION_NONE,
        status);
    const std::unique_ptr<icu::Calendar> calendar(icu::Calendar::createInstance(locale, status));
    if (U_SUCCESS(status)) firstWeekday_ = calendar->getFirstDayOfWeek(status) - UCAL_SUNDAY;
  }

  /// The first day of the week, counted from Sunday as 0.
  [[nodiscard]] int firstWeekday() const noexcept { return firstWeekday_; }

  std::string numeric(double amount, Unit unit) {
    const double magnitude = std::abs(amount);
    constexpr double ungrouped = 999;  // ICU groups larger numbers differently here.
    if (magnitude != std::floor(magnitude) || magnitude > ungrouped) return numericOfICU(amount, unit);
    Parts& parts = parts_[static_cast<std::size_t>(unit)][std::signbit(amount) ? 1 : 0]
                         [static_cast<std::size_t>(forms_.of(magnitude, 0))];
    if (parts.isLeftToICU) return numericOfICU(amount, unit);
    const std::string number = detail::numberText(name_, detail::NumberShape{}, magnitude);
    if (parts.isKnown) return parts.prefix + number + parts.suffix;
    std::string whole = numericOfICU(amount, unit);
    parts.isKnown = true;
    const std::size_t at = whole.find(number);
    parts.isLeftToICU = at == std::string::npos;
    if (!parts.isLeftToICU) {
      parts.prefix = whole.substr(0, at);
      parts.suffix = whole.substr(at + number.size());
    }
    return whole;
  }

  /// The text of an amount, with a word if the locale has one. Words belong to small amounts, so all such texts are
  /// kept.
  std::string named(double amount, Unit unit) {
    if (std::abs(amount) > mostNamed || amount != std::floor(amount)) return numeric(amount, unit);
    std::string& text = named_[static_cast<std::size_t>(unit)][static_cast<std::size_t>(amount + mostNamed)];
    if (text.empty()) {
      UErrorCode status = U_ZERO_ERROR;
      icu::UnicodeString units;
      format_->format(amount, unitsOfICU[static_cast<std::size_t>(unit)], units, status);
      text = detail::fromUTF16(units);
    }
    return text;
  }

 private:
  static constexpr int mostNamed = 3;

  struct Parts {
    bool isKnown = false;
    bool isLeftToICU = false;
    std::string prefix;
    std::string suffix;
  };

  [[nodiscard]] std::string numericOfICU(double amount, Unit unit) const {
    UErrorCode status = U_ZERO_ERROR;
    icu::UnicodeString units;
    format_->formatNumeric(amount, unitsOfICU[static_cast<std::size_t>(unit)], units, status);
    return detail::fromUTF16(units);
  }

  std::string name_;
  std::unique_ptr<icu::RelativeDateTimeFormatter> format_;
  detail::PluralCategories forms_;
  int firstWeekday_ = 0;
  std::array<std::array<std::array<Parts, 6>, 2>, unitsOfICU.size()> parts_;
  std::array<std::array<std::string, 2 * mostNamed + 1>, unitsOfICU.size()> named_;
};

struct Engines : detail::RecentlyUsed<Key, Engine, 16> {};

Engine& engineOf(const Locale& locale, Width width) {
  return detail::PerThread<Engines>::current().get(std::pair<const std::string&, Width>(locale.identifier(), width),
                                                   [](const Key& key) { return std::make_unique<Engine>(key); });
}

/// The time zones that a thread used last.
struct Zones : detail::RecentlyUsed<std::string, icu::TimeZone, 4> {};

/// A point in time by the clocks of its zone.
struct LocalTime {
  std::chrono::sys_days day;
  int year;
  int month;
  int dayOfMonth;
  double secondOfDay;
};

/// The Gregorian calendar repeats itself after this many days, which are 400 years.
constexpr int daysOfCycle = 146'097;

LocalTime localTimeOf(double secondsSince1970, const TimeZone& zone) {
  const icu::TimeZone& known = detail::PerThread<Zones>::current().get(zone.identifier(), [](const std::string& name) {
    return std::unique_ptr<icu::TimeZone>(icu::TimeZone::createTimeZone(icu::UnicodeString::fromUTF8(name)));
  });
  std::int32_t raw = 0;
  std::int32_t saving = 0;
  UErrorCode status = U_ZERO_ERROR;
  known.getOffset(secondsSince1970 * 1000, 0, raw, saving, status);
  const double local = secondsSince1970 + (raw + saving) / 1000.0;
  const double day = std::floor(local / 86'400);
  const std::chrono::sys_days days{std::chrono::days(static_cast<int>(day))};
  // The years of std::chrono end with 32767.
  const int cycles = static_cast<int>(std::floor(day / daysOfCycle));
  const std::chrono::year_month_day date(days - std::chrono::days(cycles * daysOfCycle));
  return {.day = days,
          .year = int{date.year()} + cycles * 400,
          .month = static_cast<int>(unsigned{date.month()}),
          .dayOfMonth = static_cast<int>(unsigned{date.day()}),
          .secondOfDay = local - day * 86'400};
}

/// Whole months from one time to a later one.
int wholeMonths(const LocalTime& from, const LocalTime& to) {
  const auto position = [](const LocalTime& time) { return std::pair(time.dayOfMonth, time.secondOfDay); };
  const int months = (to.year - from.year) * 12 + to.month - from.month;
  return months - (position(to) < position(from) ? 1 : 0);
}

struct Distance {
  int amount;
  Unit unit;
  /// The same distance in steps of the calendar: 1 from December to January.
  int steps;
};

/// The distance from one time to a later one that is a day or more away.
Distance calendarDistance(const LocalTime& from, const LocalTime& to, int firstWeekday) {
  const int days = static_cast<int>((to.day - from.day).count());
  if (days < 7) return {days, Unit::day, days};
  const int months = wholeMonths(from, to);
  if (months < 1) {
    const auto weekOf = [&](const LocalTime& time) {
      const auto sinceWeekBegan =
          std::chrono::weekday(time.day) - std::chrono::weekday(static_cast<unsigned>(firstWeekday));
      return time.day - sinceWeekBegan;
    };
    return {days / 7, Unit::week, static_cast<int>((weekOf(to) - weekOf(from)).count()) / 7};
  }
  const int years = to.year - from.year;
  if (months >= 12) return {months / 12, Unit::year, years};
  return {months, Unit::month, years * 12 + to.month - from.month};
}

/// The distance between two times. `magnitude` is the same distance in seconds.
Distance distanceOf(double magnitude, const LocalTime& from, const LocalTime& to, int firstWeekday) {
  constexpr double minute = 60;
  constexpr double hour = 3600;
  const auto whole = [&](double size, Unit unit) {
    const int amount = static_cast<int>(magnitude / size);
    return Distance{amount, unit, amount};
  };
  if (magnitude < minute) return whole(1, Unit::second);
  if (magnitude < hour) return whole(minute, Unit::minute);
  // On a day of 25 hours, two times of the day can be more than 24 hours apart.
  if (magnitude < 24 * hour || from.day == to.day) return whole(hour, Unit::hour);
  return calendarDistance(from, to, firstWeekday);
}

}  // namespace

std::string RelativeDateFormatStyle::format(double amount, Unit unit) const {
  if (!std::isfinite(amount)) return {};
  Engine& engine = engineOf(locale_ ? *locale_ : detail::currentLocale(), width_);
  return presentation_ == Presentation::named ? engine.named(amount, unit) : engine.numeric(amount, unit);
}

std::string RelativeDateFormatStyle::format(Date date, Date reference) const {
  constexpr double furthest = 300'000 * 365.0 * 86'400;
  const double at = date.timeIntervalSince1970();
  const double seen = reference.timeIntervalSince1970();
  if (!(std::abs(at) < furthest && std::abs(seen) < furthest)) return {};
  Engine& engine = engineOf(locale_ ? *locale_ : detail::currentLocale(), width_);
  const TimeZone& zone = timeZone_ ? *timeZone_ : detail::currentTimeZone();
  const bool isPast = at < seen;
  const double magnitude = std::abs(at - seen);
  const bool isNear = magnitude < 86'400;
  const LocalTime from = isNear ? LocalTime{} : localTimeOf(isPast ? at : seen, zone);
  const LocalTime to = isNear ? LocalTime{} : localTimeOf(isPast ? seen : at, zone);
  const Distance distance = distanceOf(magnitude, from, to, engine.firstWeekday());
  const double amount = isPast ? -static_cast<double>(distance.amount) : distance.amount;
  if (presentation_ == Presentation::numeric || distance.amount != distance.steps) {
    return engine.numeric(amount, distance.unit);
  }
  return engine.named(amount, distance.unit);
}

}  // namespace Tessaly::inline v1
