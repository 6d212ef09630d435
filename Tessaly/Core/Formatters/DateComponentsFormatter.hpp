// SPDX-License-Identifier: MIT
// Component: Tessaly::Formatters
#pragma once

#include <any>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Formatters/Formatter.hpp"
#include "Tessaly/Core/Text/Locale.hpp"

namespace Tessaly::inline v1 {

/// Writes durations in hours, minutes and seconds: "1:02:03", "1 hour, 2 minutes", "1h 2m".
///
/// The nearest standard facility is the output of `std::chrono::hh_mm_ss`, which ignores locales. Preparing a locale
/// takes about 200 µs. The formatter keeps the last eight locales.
///
/// Thread contract: thread-compatible. Formatting changes the formatter, so two threads need two formatters.
///
///     DateComponentsFormatter formatter;
///     formatter.setLocale(Locale("en"));
///     formatter.setUnitsStyle(DateComponentsFormatter::UnitsStyle::full);
///     std::cout << formatter.string(3720).value_or("");  // 1 hour, 2 minutes
class TESSALY_EXPORT DateComponentsFormatter : public Formatter {
 public:
  enum class UnitsStyle : std::uint8_t { positional = 0, abbreviated = 1, full = 3 };
  /// A set of units. Combine units with `|`.
  enum class Units : std::uint16_t { hour = 32, minute = 64, second = 128 };
  /// The treatment of units with the value zero. Combine treatments with `|`. `default_` drops leading zero units of
  /// positional texts, and all zero units of other texts. `default_` overrides every other treatment. `pad` means the
  /// same as `none`. At least one unit stays. Positional texts keep at least two units if at least two are allowed.
  /// `dropMiddle` and `dropTrailing` have no effect on positional texts.
  enum class ZeroFormattingBehavior : std::uint32_t {
    none = 0,
    default_ = 1,
    dropLeading = 2,
    dropMiddle = 4,
    dropTrailing = 8,
    dropAll = 14,
    pad = 65536,
  };

  DateComponentsFormatter();
  ~DateComponentsFormatter() override;

  /// A formatter with shared ownership.
  [[nodiscard]] static std::shared_ptr<DateComponentsFormatter> make() {
    return std::make_shared<DateComponentsFormatter>();
  }

  /// "Tessaly.DateComponentsFormatter".
  [[nodiscard]] std::string_view className() const noexcept override;

  /// The locale. Absent by default, which means the current locale at every use.
  [[nodiscard]] const std::optional<Locale>& locale() const noexcept TESSALY_LIFETIMEBOUND;
  void setLocale(const std::optional<Locale>& locale);

  /// The style of the units. Positional by default.
  [[nodiscard]] UnitsStyle unitsStyle() const noexcept;
  void setUnitsStyle(UnitsStyle style);
  /// The units to write. By default hours, minutes and seconds.
  [[nodiscard]] Units allowedUnits() const noexcept;
  void setAllowedUnits(Units units) noexcept;
  [[nodiscard]] ZeroFormattingBehavior zeroFormattingBehavior() const noexcept;
  void setZeroFormattingBehavior(ZeroFormattingBehavior behavior) noexcept;
  /// Stored, but without effect on the text: the smallest unit never has a fraction.
  [[nodiscard]] bool allowsFractionalUnits() const noexcept;
  void setAllowsFractionalUnits(bool allows) noexcept;

  /// The text of a duration in seconds, truncated toward zero to the smallest allowed unit. The sign of a negative
  /// duration precedes the first written unit. If that unit is zero, no sign is written. Absent for NaN, for infinite
  /// durations, and if no unit is allowed.
  [[nodiscard]] std::optional<std::string> string(double seconds) const;
  /// The text of a duration. The object is its number of seconds, as a `double`, an `int` or a `std::int64_t`. Absent
  /// for every other object.
  [[nodiscard]] std::optional<std::string> string(const std::any& object) const override;

 private:
  class Engine;
  class State;

  std::unique_ptr<State> state_;
};

[[nodiscard]] constexpr DateComponentsFormatter::Units operator|(DateComponentsFormatter::Units left,
                                                                 DateComponentsFormatter::Units right) noexcept {
  return static_cast<DateComponentsFormatter::Units>(static_cast<unsigned>(left) | static_cast<unsigned>(right));
}
[[nodiscard]] constexpr DateComponentsFormatter::ZeroFormattingBehavior operator|(
    DateComponentsFormatter::ZeroFormattingBehavior left,
    DateComponentsFormatter::ZeroFormattingBehavior right) noexcept {
  return static_cast<DateComponentsFormatter::ZeroFormattingBehavior>(static_cast<unsigned>(left) |
                                                                      static_cast<unsigned>(right));
}

}  // namespace Tessaly::inline v1
