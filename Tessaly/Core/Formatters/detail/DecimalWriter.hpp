// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace Tessaly::inline v1::detail {

/// The texts before and after a number.
struct Affixes {
  std::string prefix;
  std::string suffix;
};

/// Writes doubles with the digits, separators and grouping of a locale. The text equals that of ICU's decimal format,
/// but writing calls no function of ICU. The caller must leave a number to ICU if this class cannot write it exactly.
///
/// Thread contract: thread-compatible.
struct DecimalWriter {
  enum class Rounding : std::uint8_t { halfEven, halfDown, halfUp, other };

  std::array<std::string, 10> digits;
  std::string decimalSeparator;
  std::string groupingSeparator;
  Rounding rounding = Rounding::halfEven;
  /// The sizes of the last group and of the groups before it, and the minimum number of digits before the first
  /// separator. A `primaryGroup` of 0 means no grouping.
  int primaryGroup = 0;
  int secondaryGroup = 0;
  int minimumGrouping = 1;

  /// The decimal digits of a rounded magnitude.
  struct Decimals {
    std::array<std::uint8_t, 20> digits{};
    int count = 0;
    int integers = 0;  // The number of digits before the point. A value of -n means n zeros directly after the point.

    [[nodiscard]] std::uint8_t at(int index) const noexcept {
      return index >= 0 && index < count ? digits[static_cast<std::size_t>(index)] : 0;
    }
    /// The number of digits after the point, without trailing zeros. The result is zero or negative if the magnitude is
    /// whole.
    [[nodiscard]] int fractions() const noexcept {
      int fractions = count - integers;
      while (fractions > 0 && at(integers + fractions - 1) == 0) --fractions;
      return fractions;
    }
  };

  /// The absolute value, rounded to at most `maximumFraction` fraction digits. Absent if the caller must leave the
  /// number to ICU: NaN, an infinity, or a number of more than 20 integer digits. The same applies to a number that
  /// needs the rounding mode `other`. Before the rounding, the value is multiplied exactly by ten to the power of
  /// `shift`.
  [[nodiscard]] std::optional<Decimals> rounded(double value, int maximumFraction, int shift = 0) const noexcept {
    if (!std::isfinite(value)) return std::nullopt;
    // Rounding starts from the shortest decimal that parses to the value, not from the exact binary value.
    std::array<char, 32> shortest;
    const char* end = std::to_chars(shortest.data(), shortest.data() + shortest.size(), std::abs(value),
                                    std::chars_format::scientific)
                          .ptr;
    Decimals decimals;
    const char* next = shortest.data();
    for (; *next != 'e'; ++next) {
      if (*next != '.') {
        decimals.digits[static_cast<std::size_t>(decimals.count++)] = static_cast<std::uint8_t>(*next - '0');
      }
    }
    int exponent = 0;
    std::from_chars(next[1] == '+' ? next + 2 : next + 1, end, exponent);
    if (value != 0) exponent += shift;
    if (exponent > 19) return std::nullopt;
    decimals.integers = exponent + 1;
    if (!round(decimals, decimals.integers + maximumFraction)) return std::nullopt;
    return decimals;
  }

  /// Appends decimals without affixes.
  void append(std::string& text, const Decimals& decimals, int minimumFraction = 0) const {
    appendInteger(text, decimals);
    const int fractions = std::max(decimals.fractions(), minimumFraction);
    if (fractions > 0) text.append(decimalSeparator);
    for (int index = 0; index < fractions; ++index) text.append(digits[decimals.at(decimals.integers + index)]);
  }

 private:
  /// Rounds to the first `kept` digits. Returns false if the caller must leave the number to ICU. A carry out of the
  /// first digit adds a digit before it.
  bool round(Decimals& decimals, int kept) const noexcept {
    if (kept >= decimals.count) return true;
    if (rounding == Rounding::other) return false;
    bool isUp = false;
    if (kept >= 0) {
      const std::uint8_t first = decimals.at(kept);
      // The shortest form has no trailing zeros, so the dropped digits after the first one are never all zero.
      const bool isTie = first == 5 && kept + 1 == decimals.count;
      const bool isOdd = kept > 0 && decimals.at(kept - 1) % 2 == 1;
      isUp = isTie ? rounding == Rounding::halfUp || (rounding == Rounding::halfEven && isOdd) : first >= 5;
    }
    decimals.count = kept > 0 ? kept : 0;
    if (!isUp) return true;
    auto& digits = decimals.digits;
    int index = decimals.count - 1;
    while (index >= 0 && decimals.at(index) == 9) digits[static_cast<std::size_t>(index--)] = 0;
    if (index >= 0) {
      ++digits[static_cast<std::size_t>(index)];
      return true;
    }
    for (index = decimals.count; index > 0; --index) {
      digits[static_cast<std::size_t>(index)] = digits[static_cast<std::size_t>(index - 1)];
    }
    digits[0] = 1;
    ++decimals.count;
    ++decimals.integers;
    return true;
  }

  void appendInteger(std::string& text, const Decimals& decimals) const {
    const int integers = decimals.integers;
    if (integers <= 0) {
      text.append(digits[0]);
      return;
    }
    const bool isGrouped = primaryGroup > 0 && integers >= primaryGroup + minimumGrouping;
    for (int index = 0; index < integers; ++index) {
      text.append(digits[decimals.at(index)]);
      const int left = integers - index - 1;
      if (isGrouped && left >= primaryGroup && (left - primaryGroup) % secondaryGroup == 0)
        text.append(groupingSeparator);
    }
  }
};

}  // namespace Tessaly::inline v1::detail
