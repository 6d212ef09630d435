// SPDX-License-Identifier: MIT
// Component: Tessaly::Formatting
#pragma once

#include <cmath>
#include <concepts>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Formatters/NumberFormatter.hpp"
#include "Tessaly/Core/Foundation/Data.hpp"
#include "Tessaly/Core/Foundation/NSNumber.hpp"
#include "Tessaly/Core/Foundation/Range.hpp"

namespace Tessaly::inline v1 {

namespace detail {

/// The number types that a range of `Formatters::RangeNumber` can have.
template <typename Value>
concept RangeNumberValue = ExactNumber<Value> && !std::same_as<Value, bool>;

/// The part of `Formatters::RangeNumber` that does not depend on its number type.
class TESSALY_EXPORT RangeNumberFormatter : public NumberFormatter {
 public:
  ~RangeNumberFormatter() override;

  /// "Tessaly.RangeNumber".
  [[nodiscard]] std::string_view className() const noexcept override;

  /// Whether zero is written "0.0", with the locale's separator, instead of "0". False by default.
  [[nodiscard]] bool showFractionDigitsInZeroSymbol() const noexcept { return showFractionDigitsInZeroSymbol_; }
  void setShowFractionDigitsInZeroSymbol(bool show);
  /// The text after every number, such as a unit. Absent by default.
  [[nodiscard]] const std::optional<std::string>& suffix() const noexcept TESSALY_LIFETIMEBOUND { return suffix_; }
  void setSuffix(const std::optional<std::string>& suffix);
  /// Whether the empty text stands for 0. False by default.
  [[nodiscard]] bool acceptsEmptyString() const noexcept { return acceptsEmptyString_; }
  void setAcceptsEmptyString(bool accepts) noexcept { acceptsEmptyString_ = accepts; }

 protected:
  explicit RangeNumberFormatter(bool hasNegativeValues);

  [[nodiscard]] std::optional<NSNumber> readAnyString(std::string_view text) const;
  [[noreturn]] static void stopMakingFromArchive() noexcept;

 private:
  void configure();
  void configureZeroSymbol();

  bool showFractionDigitsInZeroSymbol_ = false;
  std::optional<std::string> suffix_;
  bool acceptsEmptyString_ = false;
};

}  // namespace detail

namespace Formatters {

/// A number formatter whose `isPartialStringValid` accepts only numbers in a closed range. A unit may follow the
/// number. A number outside the range is refused, and the nearest bound is offered as the replacement. If the range has
/// negative values, positive numbers have a plus sign.
///
/// A sign alone counts as 0. So the user can begin with the sign if 0 is in the range. A plus sign is accepted only if
/// the range has negative values. The user need not type a plus sign or the unit. A negative number begins with the
/// minus sign of the locale, which is not a hyphen in Swedish. As in every `NumberFormatter`, no fraction digits are
/// written by default. So the bound 0.25 is offered as "0" until `setMaximumFractionDigits` allows more digits.
/// Fraction digits are always parsed. For an integer type, the number is truncated toward zero. A number beyond the
/// limits of an integer type counts as the nearest value of that type.
///
/// `getObjectValue` is inherited from `NumberFormatter` without a change. It does not check the range. It requires the
/// unit, and it requires a plus sign wherever `string` writes one.
///
/// Thread contract: thread-compatible.
///
///     auto level = Formatters::RangeNumber<int>::make(ClosedRange(0, 100));
///     std::optional<std::string> replacement;
///     bool isValid = level->isPartialStringValid("150", &replacement);  // false, and the replacement is "100"
template <detail::RangeNumberValue Value>
class RangeNumber : public detail::RangeNumberFormatter {
 public:
  explicit RangeNumber(ClosedRange<Value> range)
      : RangeNumberFormatter(range.lowerBound() < Value{}), range_(std::move(range)) {}

  [[nodiscard]] static std::shared_ptr<RangeNumber> make(ClosedRange<Value> range) {
    return std::make_shared<RangeNumber>(std::move(range));
  }
  /// Stops the process, because an archive cannot create this formatter.
  [[noreturn]] static std::optional<std::shared_ptr<RangeNumber>> from(const Data&) { stopMakingFromArchive(); }

  [[nodiscard]] const ClosedRange<Value>& range() const noexcept TESSALY_LIFETIMEBOUND { return range_; }

  /// The value of a text. The text need not have the positive prefix and the suffix. The value may be outside the
  /// range. Absent if the text is not a number.
  [[nodiscard]] std::optional<Value> numberFromAnyString(std::string_view text) const {
    const std::optional<NSNumber> number = readAnyString(text);
    return number ? converted(*number) : std::nullopt;
  }

  bool isPartialStringValid(std::string_view partialString, std::optional<std::string>* newEditingString = nullptr,
                            std::optional<std::string>* = nullptr) override {
    const std::optional<Value> value = numberFromAnyString(partialString);
    if (!value) return false;
    if (range_.contains(*value)) return true;
    if (newEditingString != nullptr) {
      *newEditingString =
          this->string(NSNumber(*value < range_.lowerBound() ? range_.lowerBound() : range_.upperBound()));
    }
    return false;
  }

 private:
  static std::optional<Value> converted(const NSNumber& number) {
    if constexpr (std::is_floating_point_v<Value>) {
      return static_cast<Value>(number.doubleValue());
    } else {
      if (const std::optional<Value> exact = number.template exactly<Value>()) return exact;
      using Limits = std::numeric_limits<Value>;
      if (number.isReal()) {
        const double whole = std::trunc(number.doubleValue());
        if (std::isnan(whole)) return std::nullopt;
        if (whole < static_cast<double>(Limits::min())) return Limits::min();
        if (whole >= std::ldexp(1.0, Limits::digits)) return Limits::max();
        return static_cast<Value>(whole);
      }
      const std::int64_t whole = number.integerValue();
      if (std::cmp_less(whole, Limits::min())) return Limits::min();
      if (std::cmp_greater(whole, Limits::max())) return Limits::max();
      return static_cast<Value>(whole);
    }
  }

  ClosedRange<Value> range_;
};

}  // namespace Formatters

}  // namespace Tessaly::inline v1
