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

/// Writes an interval between two dates. The common parts of both dates are written once: "Jan 2 – 5, 2023".
///
/// The standard library has no counterpart. A thread prepares a combination of locale, time zone and widths in about 2
/// ms and keeps the last eight combinations.
///
/// Thread contract: thread-compatible. Threads may share a style that no thread changes.
///
///     auto style = DateIntervalFormatStyle().locale(Locale("en")).timeZone(TimeZone::gmt());
///     Date start = Date::since1970(1'672'671'845);
///     std::cout << style.format(start, start + 3 * 86'400.0);  // Jan 2 – 5, 2023
class DateIntervalFormatStyle {
 public:
  /// The width of a date. In the order of the values: no date, "1/2/2023", "Jan 2, 2023", "January 2, 2023" and
  /// "Monday, January 2, 2023".
  enum class DateWidth : std::uint8_t { omitted, numeric, abbreviated, long_, complete };
  /// The width of a time. In the order of the values: no time, and "3:04 PM".
  enum class TimeWidth : std::uint8_t { omitted, shortened };

  /// Sets the width of the dates. The default is `abbreviated`.
  [[nodiscard]] DateIntervalFormatStyle date(DateWidth width) const {
    return with(&DateIntervalFormatStyle::date_, width);
  }
  /// Sets the width of the times. The default is `omitted`.
  [[nodiscard]] DateIntervalFormatStyle time(TimeWidth width) const {
    return with(&DateIntervalFormatStyle::time_, width);
  }
  /// Sets the locale. Absent by default, which means the current locale at every use.
  [[nodiscard]] DateIntervalFormatStyle locale(const std::optional<Locale>& locale) const {
    return with(&DateIntervalFormatStyle::locale_, locale);
  }
  /// Sets the time zone. Absent by default, which means the current time zone at every use.
  [[nodiscard]] DateIntervalFormatStyle timeZone(const std::optional<TimeZone>& zone) const {
    return with(&DateIntervalFormatStyle::timeZone_, zone);
  }

  /// The text of an interval. Two dates with the same text are written once. Empty if a date is not finite, or if both
  /// widths are `omitted`.
  [[nodiscard]] TESSALY_EXPORT std::string format(Date start, Date end) const;

  friend bool operator==(const DateIntervalFormatStyle&, const DateIntervalFormatStyle&) noexcept = default;

 private:
  template <typename Value>
  [[nodiscard]] DateIntervalFormatStyle with(Value DateIntervalFormatStyle::* member, const Value& value) const {
    DateIntervalFormatStyle changed = *this;
    changed.*member = value;
    return changed;
  }

  DateWidth date_ = DateWidth::abbreviated;
  TimeWidth time_ = TimeWidth::omitted;
  std::optional<Locale> locale_;
  std::optional<TimeZone> timeZone_;
};

}  // namespace Tessaly::inline v1
