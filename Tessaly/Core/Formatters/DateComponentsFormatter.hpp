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

/// Writes spans of time in hours, minutes and seconds: "1:02:03", "1 hour, 2 minutes", "1h 2m".
///
/// The nearest standard facility is the output of `std::chrono::hh_mm_ss`, which knows no locale. Preparing a locale
/// takes about 200 us; the last eight stay prepared.
///
/// Thread contract: thread-compatible. Using it prepares locales inside, so two threads need two formatters.
///
///     DateComponentsFormatter formatter;
///     formatter.setLocale(Locale("en"));
///     formatter.setUnitsStyle(DateComponentsFormatter::UnitsStyle::full);
///     std::cout << formatter.string(3720).value_or("");  // 1 hour, 2 minutes
class TESSALY_EXPORT DateComponentsFormatter : public Formatter {
 public:
  enum class UnitsStyle : std::uint8_t { positional = 0, abbreviated = 1, full = 3 };
  /// A set of units; combine them by `|`.
  enum class Units : std::uint16_t { hour = 32, minute = 64, second = 128 };
  /// What becomes of units whose value is zero; a combination by `|`. `default_` drops the leading ones of positional
  /// texts and all of others. One unit always stays. Positional texts drop leading ones only.
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

  /// A formatter for those who share it.
  [[nodiscard]] static std::shared_ptr<DateComponentsFormatter> make() {
    return std::make_shared<DateComponentsFormatter>();
  }

  /// "Tessaly.DateComponentsFormatter".
  [[nodiscard]] std::string_view className() const noexcept override;

  /// Absent, as at first: the current locale at every use.
  [[nodiscard]] const std::optional<Locale>& locale() const noexcept;
  void setLocale(const std::optional<Locale>& locale);

  /// At first positional.
  [[nodiscard]] UnitsStyle unitsStyle() const noexcept;
  void setUnitsStyle(UnitsStyle style);
  /// At first hours, minutes and seconds.
  [[nodiscard]] Units allowedUnits() const noexcept;
  void setAllowedUnits(Units units) noexcept;
  [[nodiscard]] ZeroFormattingBehavior zeroFormattingBehavior() const noexcept;
  void setZeroFormattingBehavior(ZeroFormattingBehavior behavior) noexcept;
  /// Kept, but without effect on the text: the smallest unit is never written with a fraction.
  [[nodiscard]] bool allowsFractionalUnits() const noexcept;
  void setAllowsFractionalUnits(bool allows) noexcept;

  /// The text of a span in seconds, cut toward zero to whole ones. The sign of a negative span stands before the first
  /// unit that is written, and is lost when that is zero. Absent for what is no finite number, and without units.
  [[nodiscard]] std::optional<std::string> string(double seconds) const;
  /// The text of a number of the language, in seconds; absent for everything else.
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
