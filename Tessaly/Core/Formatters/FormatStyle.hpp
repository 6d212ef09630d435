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

namespace detail {
struct CompactDateTime;  // Defined in FoundationExtensions/FormatStyle+Extensions.hpp.
}  // namespace detail

/// Writes a date for people, in chosen fields and widths. The locale decides the order of the fields and the text
/// between them. A style without fields writes nothing.
///
/// `DateFormatter` offers four fixed lengths instead of fields, and words for the days around today. The nearest
/// standard facility is `std::put_time`, where the program decides the order of the fields. Each thread prepares a
/// combination of locale, zone and fields at its first use, and keeps the 16 combinations that it used last.
///
/// Thread contract: thread-compatible. Formatting is thread-safe while no thread changes the style.
///
///     auto style = Date::FormatStyle().day(Date::FormatStyle::Field::digits).month(Date::FormatStyle::Month::wide);
///     std::cout << style.locale(Locale("en")).format(Date::now());  // November 21
class Date::FormatStyle {
 public:
  /// The width of a number: omitted, without padding, or at least two digits. With `twoDigits`, a year is shortened to
  /// its last two digits. Some locales write days and months without padding even with `twoDigits`, for example Spanish
  /// in "2/1".
  enum class Field : std::uint8_t { omitted, digits, twoDigits };
  /// The width of a month: omitted, a number, or an abbreviated or full name.
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
  /// "03:04 PM": the time to the minute. Despite the name, the style normally has no date. It has the day and the month
  /// only if the host overrides the system version of `ProcessInfo` with a version before 15.0: "01/02, 03:04 PM".
  /// Callers must include Tessaly/FoundationExtensions/FormatStyle+Extensions.hpp.
  template <typename Definition = detail::CompactDateTime>
  [[nodiscard]] static FormatStyle compactDateTime() {
    static_assert(requires { sizeof(Definition); }, "include Tessaly/FoundationExtensions/FormatStyle+Extensions.hpp");
    return Definition::make();
  }

  [[nodiscard]] FormatStyle year(Field width) const { return with(&FormatStyle::year_, width); }
  [[nodiscard]] FormatStyle month(Month width) const { return with(&FormatStyle::month_, width); }
  [[nodiscard]] FormatStyle day(Field width) const { return with(&FormatStyle::day_, width); }
  /// Sets the width of the hour. The locale decides whether the text has the 12-hour clock or the 24-hour clock. The
  /// 12-hour clock adds the abbreviated period of the day, such as "PM".
  [[nodiscard]] FormatStyle hour(Field width) const { return with(&FormatStyle::hour_, width); }
  [[nodiscard]] FormatStyle minute(Field width) const { return with(&FormatStyle::minute_, width); }
  [[nodiscard]] FormatStyle second(Field width) const { return with(&FormatStyle::second_, width); }
  /// Sets the locale. Absent by default. An absent locale stands for the current locale at every use.
  [[nodiscard]] FormatStyle locale(const std::optional<Locale>& locale) const {
    return with(&FormatStyle::locale_, locale);
  }
  /// Sets the time zone. Absent by default. An absent time zone stands for the current time zone at every use.
  [[nodiscard]] FormatStyle timeZone(const std::optional<TimeZone>& zone) const {
    return with(&FormatStyle::timeZone_, zone);
  }

  /// The text of a date. The date is truncated, not rounded, to the smallest field. The text is empty for NaN and
  /// infinite dates, and for a style without fields.
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
