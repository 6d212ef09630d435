// SPDX-License-Identifier: MIT
// Component: Tessaly::Formatters
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Formatters/TimeZone.hpp"
#include "Tessaly/Core/Foundation/Date.hpp"
#include "Tessaly/Core/Text/Locale.hpp"

namespace Tessaly::inline v1 {

/// Writes the distance of a date from now, or from another date: "5 minutes ago", "in 3 days", "yesterday".
///
/// The unit is the largest that fits: seconds for less than a minute, minutes for less than an hour, hours for less
/// than a day. Longer distances are in days, weeks, months or years. The number of days is the number of midnights
/// between the dates, and seven such days are a week. The other units are rounded down to whole units. `DateFormatter`
/// can instead name the days around today and write other dates in full. The standard library has no counterpart. A
/// thread prepares a locale in about 100 µs and keeps the 16 most recently used combinations of locale and width.
///
/// Thread contract: thread-compatible. Threads may share a style that no thread changes.
///
///     auto style = RelativeDateFormatStyle().locale(Locale("en"));
///     Date now = Date::now();
///     std::cout << style.format(now - 300, now);                         // 5 minutes ago
///     std::cout << style.format(3, RelativeDateFormatStyle::Unit::day);  // in 3 days
///     auto named = style.presentation(RelativeDateFormatStyle::Presentation::named);
///     std::cout << named.format(-1, RelativeDateFormatStyle::Unit::day);  // yesterday
class RelativeDateFormatStyle {
 public:
  /// The width of the text: "5 minutes ago", "5 min. ago", or the shortest form of the locale.
  enum class Width : std::uint8_t { wide, abbreviated, narrow };
  /// `numeric`: always a number ("1 day ago"). `named`: a word if the locale has a word ("yesterday").
  enum class Presentation : std::uint8_t { numeric, named };
  enum class Unit : std::uint8_t { year, quarter, month, week, day, hour, minute, second };

  /// Sets the width. The default is `wide`.
  [[nodiscard]] RelativeDateFormatStyle width(Width width) const {
    return with(&RelativeDateFormatStyle::width_, width);
  }
  /// Sets the presentation. The default is `numeric`. With `named`, a date gets a word only if the word is also true by
  /// the calendar. For example, "last month" requires a date in the calendar month before the month of the reference
  /// date.
  [[nodiscard]] RelativeDateFormatStyle presentation(Presentation presentation) const {
    return with(&RelativeDateFormatStyle::presentation_, presentation);
  }
  /// Sets the locale. The default is an absent value, which means the current locale at every use.
  [[nodiscard]] RelativeDateFormatStyle locale(const std::optional<Locale>& locale) const {
    return with(&RelativeDateFormatStyle::locale_, locale);
  }
  /// Sets the time zone that decides when midnight is. The default is an absent value, which means the current time
  /// zone at every use.
  [[nodiscard]] RelativeDateFormatStyle timeZone(const std::optional<TimeZone>& zone) const {
    return with(&RelativeDateFormatStyle::timeZone_, zone);
  }

  /// The text of a date relative to a reference date. Empty if one of the dates is not a finite number, or is at least
  /// 300,000 years of 365 days from 1970.
  [[nodiscard]] TESSALY_EXPORT std::string format(Date date, Date reference = Date::now()) const;
  /// The text of an amount of the given unit. A positive amount or 0 is in the future. A negative amount or -0.0 is in
  /// the past. Empty for NaN and infinities.
  [[nodiscard]] TESSALY_EXPORT std::string format(double amount, Unit unit) const;

  friend bool operator==(const RelativeDateFormatStyle&, const RelativeDateFormatStyle&) noexcept = default;

 private:
  template <typename Value>
  [[nodiscard]] RelativeDateFormatStyle with(Value RelativeDateFormatStyle::* member, const Value& value) const {
    RelativeDateFormatStyle changed = *this;
    changed.*member = value;
    return changed;
  }

  Width width_ = Width::wide;
  Presentation presentation_ = Presentation::numeric;
  std::optional<Locale> locale_;
  std::optional<TimeZone> timeZone_;
};

}  // namespace Tessaly::inline v1
