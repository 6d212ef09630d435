// SPDX-License-Identifier: MIT
#pragma once

#include <concepts>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "Tessaly/Core/Formatters/Parsing.hpp"
#include "Tessaly/Core/Formatters/detail/NumberReading.hpp"
#include "Tessaly/Core/Formatters/detail/NumberText.hpp"
#include "Tessaly/Core/Foundation/detail/WholeNumber.hpp"
#include "Tessaly/Core/Text/Locale.hpp"

namespace Tessaly::inline v1::detail {

/// The part that all styles of numbers have in common. Each setter returns a changed copy.
///
/// Thread contract: thread-compatible.
template <typename Style>
class NumericStyle {
 public:
  /// Sets the locale. If the locale is absent, as by default, each call uses the current locale.
  [[nodiscard]] Style locale(const std::optional<Locale>& locale) const {
    return changed([&](Style& style) { style.locale_ = locale; });
  }
  /// Sets the minimum and maximum number of fraction digits. Both are clamped to the range from 0 to 340. A maximum
  /// below the minimum is raised to the minimum. Numbers are rounded half to even, from their shortest decimal form.
  [[nodiscard]] Style fractionDigits(std::int64_t minimum, std::int64_t maximum) const {
    return changed([&](Style& style) { setFractionDigits(style.shape_, minimum, maximum); });
  }
  /// Sets an exact number of fraction digits.
  [[nodiscard]] Style fractionDigits(std::int64_t digits) const { return fractionDigits(digits, digits); }
  /// Sets whether the locale's grouping separators are written. True by default.
  [[nodiscard]] Style grouping(bool isGrouped) const {
    return changed([&](Style& style) { style.shape_.isGrouped = isGrouped; });
  }

  /// The text of a number. Infinities are "∞". NaN has the locale's text, "NaN" in English.
  [[nodiscard]] std::string format(double value) const { return numberText(identifier(), shape_, value); }
  /// The text of an integer, up to 2^63 - 1 without a loss of digits. A greater integer is rounded to a `double`.
  template <WholeNumber Integer>
  [[nodiscard]] std::string format(Integer value) const {
    if (std::in_range<std::int64_t>(value)) {
      return numberText(identifier(), shape_, static_cast<std::int64_t>(value));
    }
    return format(static_cast<double>(value));
  }
  /// Truth values and characters are not numbers.
  template <std::integral Other>
  std::string format(Other value) const = delete;
  /// The text of a range of numbers, "3–5". If both numbers have the same text, the result is one number with a sign of
  /// approximation, "~3".
  [[nodiscard]] std::string formatRange(double lower, double upper) const {
    return numberRangeText(identifier(), shape_, lower, upper);
  }

  /// The number that a text represents. Absent if the text is not a number of this style. In lenient mode a text such
  /// as "1.234" may have several meanings. Then the decimal separator of the locale decides. "∞" and "NaN" are not
  /// parsed. O(n).
  [[nodiscard]] std::optional<double> parse(std::string_view text, Parsing parsing = Parsing::lenient) const {
    for (const double value : readNumber(identifier(), shape_, text).values) {
      if (parsing == Parsing::lenient || format(value) == text) return value;
    }
    return std::nullopt;
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
