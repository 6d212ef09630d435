// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Tessaly::inline v1::detail {

/// Writes dates of the Gregorian calendar, part by part, as a pattern says. `parts` is the parsed pattern. The text
/// equals that of ICU's date format, but writing calls no function of ICU. `read` parses such texts.
///
/// Thread contract: thread-compatible. Calls of `append` and `read` are thread-safe while no thread changes the object.
struct DateWriter {
  enum class Field : std::uint8_t {
    literal,
    year,
    yearOfCentury,
    month,
    monthName,
    day,
    weekdayName,
    dayPeriod,
    hour,          // 0 to 23
    hourOfTwelve,  // 1 to 12
    minute,
    second,
  };
  struct Part {
    Field field;
    /// The minimum number of digits.
    int digits = 1;
    /// The names, beginning with January, Sunday or the morning. For a literal, the only element is its text.
    std::vector<std::string> names;
  };

  std::array<std::string, 10> digits;
  std::vector<Part> parts;

  /// Whether this class can write the date in every zone. The argument is the date in milliseconds since 1970 in UTC.
  /// Every date that this class can write is after the change from the Julian calendar and before the year 10000.
  static constexpr bool writes(double milliseconds) noexcept {
    return milliseconds > -12'200'000'000'000.0 && milliseconds < 253'402'000'000'000.0;
  }

  /// Parses a text that has the form of the pattern. Returns the date in milliseconds of local time since 1970. The
  /// year of a `yy` field is in the century that begins 80 years before `today`. If the pattern has no day, no month
  /// and no year, the result is a time on the day `today`. Returns nothing if no date fits the text, or if several
  /// dates fit. `read` checks neither the padding, nor the weekday, nor the range of `hourOfTwelve`. So `append` may
  /// write another text for the result than the parsed text.
  [[nodiscard]] std::optional<std::int64_t> read(std::string_view text, std::chrono::sys_days today) const;

  /// Appends a date, which is given in milliseconds of local time since 1970. `writes()` must return true for the UTC
  /// milliseconds of this date.
  void append(std::string& text, std::int64_t localMilliseconds) const {
    const std::chrono::sys_time<std::chrono::milliseconds> time{std::chrono::milliseconds(localMilliseconds)};
    const auto days = std::chrono::floor<std::chrono::days>(time);
    const std::chrono::year_month_day date(days);
    const auto seconds = static_cast<std::uint32_t>(std::chrono::floor<std::chrono::seconds>(time - days).count());
    const std::uint32_t hour = seconds / 3600;
    for (const Part& part : parts) {
      switch (part.field) {
        case Field::literal:
          text.append(part.names.front());
          break;
        case Field::year:
          appendNumber(text, static_cast<std::uint32_t>(int{date.year()}), part.digits);
          break;
        case Field::yearOfCentury:
          appendNumber(text, static_cast<std::uint32_t>(int{date.year()}) % 100, 2);
          break;
        case Field::month:
          appendNumber(text, unsigned{date.month()}, part.digits);
          break;
        case Field::monthName:
          text.append(part.names[unsigned{date.month()} - 1]);
          break;
        case Field::day:
          appendNumber(text, unsigned{date.day()}, part.digits);
          break;
        case Field::weekdayName:
          text.append(part.names[std::chrono::weekday(days).c_encoding()]);
          break;
        case Field::dayPeriod:
          text.append(part.names[hour / 12]);
          break;
        case Field::hour:
          appendNumber(text, hour, part.digits);
          break;
        case Field::hourOfTwelve:
          appendNumber(text, (hour + 11) % 12 + 1, part.digits);
          break;
        case Field::minute:
          appendNumber(text, seconds / 60 % 60, part.digits);
          break;
        case Field::second:
          appendNumber(text, seconds % 60, part.digits);
          break;
      }
    }
  }

 private:
  void appendNumber(std::string& text, std::uint32_t number, int least) const {
    std::array<std::uint8_t, 10> decimals{};
    int count = 0;
    for (; number > 0; number /= 10)
      decimals[static_cast<std::size_t>(count++)] = static_cast<std::uint8_t>(number % 10);
    for (int zeros = count; zeros < least; ++zeros) text.append(digits[0]);
    while (count > 0) text.append(digits[decimals[static_cast<std::size_t>(--count)]]);
  }
};

/// A writer that writes the same texts as a format of ICU. If `isCapitalised` is true, the first field begins with a
/// capital letter. Absent for calendars other than the Gregorian one, for fields with number formats of their own, and
/// for fields that only ICU knows, such as names of time zones. This function is a template because no header of the
/// library may name ICU's class.
template <typename SimpleDateFormat>
[[nodiscard]] std::optional<DateWriter> dateWriterOf(const SimpleDateFormat& format, const std::string& locale,
                                                     bool isCapitalised);

}  // namespace Tessaly::inline v1::detail
