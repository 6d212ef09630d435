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

/// A date for people by its fields: which of them there are and how wide. Their order and what stands between them come
/// from the locale. A style without fields writes nothing.
///
/// `DateFormatter` has whole lengths instead of fields, and words for the days around today. The nearest standard
/// facility is `std::put_time`, whose order of fields the program decides. Each thread prepares a combination of
/// locale, zone and fields once, and keeps the last sixteen.
///
/// Thread contract: thread-compatible. Formatting with a style that nobody changes is thread-safe.
///
///     auto style = Date::FormatStyle().day(Date::FormatStyle::Field::digits).month(Date::FormatStyle::Month::wide);
///     std::cout << style.locale(Locale("en")).format(Date::now());  // November 21
class Date::FormatStyle {
 public:
  /// How wide a number is: left out, as many digits as it has, or at least two.
  enum class Field : std::uint8_t { omitted, digits, twoDigits };
  /// The same of months, which also have names.
  enum class Month : std::uint8_t { omitted, digits, twoDigits, abbreviated, wide };

  /// A style without fields.
  FormatStyle() noexcept = default;
  /// "1/2/2023, 3:04:05 PM": the date in digits, and the time to the second.
  [[nodiscard]] static FormatStyle numericDateStandardTime() {
    return FormatStyle()
        .year(Field::digits)
        .month(Month::digits)
        .day(Field::digits)
        .hour(Field::digits)
        .minute(Field::twoDigits)
        .second(Field::twoDigits);
  }
  /// "03:04 PM": the time to the minute. On systems before 15.0, by the version that `ProcessInfo` is told instead of
  /// the running one, "01/02, 03:04 PM", with the day and the month. Defined in FoundationExtensions.
  [[nodiscard]] TESSALY_EXPORT static FormatStyle compactDateTime();

  [[nodiscard]] FormatStyle year(Field width) const { return with(&FormatStyle::year_, width); }
  [[nodiscard]] FormatStyle month(Month width) const { return with(&FormatStyle::month_, width); }
  [[nodiscard]] FormatStyle day(Field width) const { return with(&FormatStyle::day_, width); }
  /// By the locale's clock of 12 or 24 hours, with its abbreviated marker if of 12.
  [[nodiscard]] FormatStyle hour(Field width) const { return with(&FormatStyle::hour_, width); }
  [[nodiscard]] FormatStyle minute(Field width) const { return with(&FormatStyle::minute_, width); }
  [[nodiscard]] FormatStyle second(Field width) const { return with(&FormatStyle::second_, width); }
  /// Absent, as at first: the current locale at every use.
  [[nodiscard]] FormatStyle locale(const std::optional<Locale>& locale) const {
    return with(&FormatStyle::locale_, locale);
  }
  /// Absent, as at first: the current time zone at every use.
  [[nodiscard]] FormatStyle timeZone(const std::optional<TimeZone>& zone) const {
    return with(&FormatStyle::timeZone_, zone);
  }

  /// The text of a date, cut and not rounded to the last field. Empty for what is no finite number.
  [[nodiscard]] TESSALY_EXPORT std::string format(Date date) const;

  friend bool operator==(const FormatStyle&, const FormatStyle&) noexcept = default;

 private:
  template <typename Value>
  [[nodiscard]] FormatStyle with(Value FormatStyle::* member, const Value& value) const {
    FormatStyle changed = *this;
    changed.*member = value;
    return changed;
  }

  Field year_ = Field::omitted;
  Month month_ = Month::omitted;
  Field day_ = Field::omitted;
  Field hour_ = Field::omitted;
  Field minute_ = Field::omitted;
  Field second_ = Field::omitted;
  std::optional<Locale> locale_;
  std::optional<TimeZone> timeZone_;
};

}  // namespace Tessaly::inline v1
