// SPDX-License-Identifier: MIT
// Component: Tessaly::Formatters
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Text/Locale.hpp"

namespace Tessaly::inline v1 {

/// Writes a span of time in days, hours, minutes and seconds: "1 day, 2 hours".
///
/// `DateComponentsFormatter` writes "1:02:03", and has no unit above hours. The nearest standard facility is the output
/// of `std::chrono::duration`, which ignores locales. A thread prepares a unit in about 100 µs and keeps the units that
/// it used last.
///
/// Thread contract: thread-compatible. Threads may share a style that no thread changes.
///
///     auto style = DurationFormatStyle().locale(Locale("en"));
///     std::cout << style.format(93'784);                      // 1 day, 2 hours, 3 minutes, 4 seconds
///     std::cout << style.maximumUnitCount(2).format(93'784);  // 1 day, 2 hours
class DurationFormatStyle {
 public:
  enum class Unit : std::uint8_t { day, hour, minute, second };
  /// The width of the units. In the order of the values: "1 hour, 2 minutes", "1 hr, 2 min" and "1h 2m".
  enum class Width : std::uint8_t { wide, abbreviated, narrow };

  /// Sets the width. The default is `wide`.
  [[nodiscard]] DurationFormatStyle width(Width width) const { return with(&DurationFormatStyle::width_, width); }
  /// Sets the largest and the smallest unit. The defaults are days and seconds.
  [[nodiscard]] DurationFormatStyle units(Unit largest, Unit smallest) const {
    return with(&DurationFormatStyle::largest_, largest).with(&DurationFormatStyle::smallest_, smallest);
  }
  /// Sets the maximum number of units. The count begins with the first unit that is not zero, and includes later units
  /// that are zero. The default is 4. A count below 1 means 1.
  [[nodiscard]] DurationFormatStyle maximumUnitCount(int count) const {
    return with(&DurationFormatStyle::maximumUnitCount_, count < 1 ? 1 : count);
  }
  /// Sets the locale. Absent by default, which means the current locale at every use.
  [[nodiscard]] DurationFormatStyle locale(const std::optional<Locale>& locale) const {
    return with(&DurationFormatStyle::locale_, locale);
  }

  /// The text of a span in seconds, truncated toward zero to the smallest unit. Units with the value zero are omitted.
  /// If all units are zero, the smallest unit is written, without a sign. The sign of a negative span precedes the
  /// first written unit. Empty for NaN and infinities.
  [[nodiscard]] TESSALY_EXPORT std::string format(double seconds) const;

  friend bool operator==(const DurationFormatStyle&, const DurationFormatStyle&) noexcept = default;

 private:
  template <typename Value>
  [[nodiscard]] DurationFormatStyle with(Value DurationFormatStyle::* member, const Value& value) const {
    DurationFormatStyle changed = *this;
    changed.*member = value;
    return changed;
  }

  Width width_ = Width::wide;
  Unit largest_ = Unit::day;
  Unit smallest_ = Unit::second;
  int maximumUnitCount_ = 4;
  std::optional<Locale> locale_;
};

}  // namespace Tessaly::inline v1
