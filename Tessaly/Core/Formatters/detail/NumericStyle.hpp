// SPDX-License-Identifier: MIT
#pragma once

#include <concepts>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "Tessaly/Core/Formatters/detail/NumberText.hpp"
#include "Tessaly/Core/Text/Locale.hpp"

namespace Tessaly::inline v1::detail {

/// The part that all styles of numbers have in common. Each setter returns a changed copy.
///
/// Thread contract: thread-compatible.
template <typename Style>
class NumericStyle {
 public:
  /// Absent, as at first: the current locale at every use.
  [[nodiscard]] Style locale(const std::optional<Locale>& locale) const {
    return changed([&](Style& style) { style.locale_ = locale; });
  }
  /// How many digits stand behind the decimal separator. Both are brought into the range from 0 to 340, and the
  /// maximum is at least the minimum. Numbers are rounded half to even, by their shortest decimal form.
  [[nodiscard]] Style fractionDigits(std::int64_t minimum, std::int64_t maximum) const {
    return changed([&](Style& style) { setFractionDigits(style.shape_, minimum, maximum); });
  }
  /// Exactly so many.
  [[nodiscard]] Style fractionDigits(std::int64_t digits) const { return fractionDigits(digits, digits); }
  /// Whether the locale's separators of thousands are written. At first true.
  [[nodiscard]] Style grouping(bool isGrouped) const {
    return changed([&](Style& style) { style.shape_.isGrouped = isGrouped; });
  }

  /// The text of a number. Infinities are "∞"; the text for what is not a number is the locale's, "NaN" in English.
  [[nodiscard]] std::string format(double value) const { return numberText(identifier(), shape_, value); }
  /// The text of an integer, without a loss of digits. An unsigned one above 2^63 - 1 is rounded to a `double`.
  template <std::integral Integer>
  [[nodiscard]] std::string format(Integer value) const {
    if (std::in_range<std::int64_t>(value)) {
      return numberText(identifier(), shape_, static_cast<std::int64_t>(value));
    }
    return format(static_cast<double>(value));
  }
  /// The text of the numbers between two, "3–5". Two that look alike are one with a sign of approximation, "~3".
  [[nodiscard]] std::string formatRange(double lower, double upper) const {
    return numberRangeText(identifier(), shape_, lower, upper);
  }

  friend bool operator==(const NumericStyle&, const NumericStyle&) noexcept = default;

 protected:
  NumericStyle() = default;

  template <typename Change>
  [[nodiscard]] Style changed(Change&& change) const {
    Style style = static_cast<const Style&>(*this);
    change(style);
    return style;
  }
  [[nodiscard]] const std::string& identifier() const { return (locale_ ? *locale_ : currentLocale()).identifier(); }

  NumberShape shape_;
  std::optional<Locale> locale_;
};

}  // namespace Tessaly::inline v1::detail
