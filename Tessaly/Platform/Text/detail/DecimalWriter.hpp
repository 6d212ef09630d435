// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <string>
#include <string_view>

namespace Tessaly::inline v1::detail {

/// What stands before and behind a number.
struct Affixes {
  std::string prefix;
  std::string suffix;
};

/// Writes doubles with the digits, separators and grouping of a locale: what ICU's decimal format writes, without the
/// detour through its general machinery. What it does not write exactly it leaves to that.
///
/// Thread contract: thread-compatible.
struct DecimalWriter {
  enum class Rounding : std::uint8_t { halfEven, halfDown, halfUp, other };

  std::array<std::string, 10> digits;
  std::string decimalSeparator;
  std::string groupingSeparator;
  Rounding rounding = Rounding::halfEven;
  /// The digits of the last group, of those before it, and of what must stand before the first separator. 0: ungrouped.
  int primaryGroup = 0;
  int secondaryGroup = 0;
  int minimumGrouping = 1;

  /// Appends the value with its affixes. False, and nothing appended, when it is left to ICU: no number, infinite, of
  /// more than twenty integer digits, or cut by a rounding mode that is not a nearest one.
  bool append(std::string& text, double value, int minimumFraction, int maximumFraction, const Affixes& positive,
              const Affixes& negative) const {
    if (!std::isfinite(value)) return false;
    // The shortest decimal that reads as the value: that, and not the value's own expansion, is rounded.
    std::array<char, 32> shortest;
    const char* end = std::to_chars(shortest.data(), shortest.data() + shortest.size(), std::abs(value),
                                    std::chars_format::scientific)
                          .ptr;
    std::array<std::uint8_t, 20> decimals{};
    int count = 0;
    const char* next = shortest.data();
    for (; *next != 'e'; ++next) {
      if (*next != '.') decimals[static_cast<std::size_t>(count++)] = static_cast<std::uint8_t>(*next - '0');
    }
    int exponent = 0;
    std::from_chars(next[1] == '+' ? next + 2 : next + 1, end, exponent);
    if (exponent > 19) return false;
    int integers = exponent + 1;  // How many of the decimals stand before the point; negative: zeros behind it.
    if (!round(decimals, count, integers, integers + maximumFraction)) return false;

    const bool isNegative = std::signbit(value);
    const Affixes& affixes = isNegative ? negative : positive;
    text.append(affixes.prefix);
    appendInteger(text, decimals, count, integers);
    int fractions = count - integers;
    while (fractions > 0 && decimalAt(decimals, count, integers + fractions - 1) == 0) --fractions;
    fractions = fractions > minimumFraction ? fractions : minimumFraction;
    if (fractions > 0) text.append(decimalSeparator);
    for (int index = 0; index < fractions; ++index) text.append(digits[decimalAt(decimals, count, integers + index)]);
    text.append(affixes.suffix);
    return true;
  }

 private:
  static std::uint8_t decimalAt(const std::array<std::uint8_t, 20>& decimals, int count, int index) noexcept {
    return index >= 0 && index < count ? decimals[static_cast<std::size_t>(index)] : 0;
  }

  /// Keeps this many of the decimals. A carry out of the first one makes the number one digit longer.
  bool round(std::array<std::uint8_t, 20>& decimals, int& count, int& integers, int kept) const noexcept {
    if (kept >= count) return true;
    if (rounding == Rounding::other) return false;
    bool isUp = false;
    if (kept >= 0) {
      const std::uint8_t first = decimals[static_cast<std::size_t>(kept)];
      // The shortest form has no trailing zeros, so what follows the first is not zero.
      const bool isTie = first == 5 && kept + 1 == count;
      const bool isOdd = kept > 0 && decimals[static_cast<std::size_t>(kept - 1)] % 2 == 1;
      isUp = isTie ? rounding == Rounding::halfUp || (rounding == Rounding::halfEven && isOdd) : first >= 5;
    }
    count = kept > 0 ? kept : 0;
    if (!isUp) return true;
    int index = count - 1;
    while (index >= 0 && decimals[static_cast<std::size_t>(index)] == 9)
      decimals[static_cast<std::size_t>(index--)] = 0;
    if (index >= 0) {
      ++decimals[static_cast<std::size_t>(index)];
      return true;
    }
    for (index = count; index > 0; --index) {
      decimals[static_cast<std::size_t>(index)] = decimals[static_cast<std::size_t>(index - 1)];
    }
    decimals[0] = 1;
    ++count;
    ++integers;
    return true;
  }

  void appendInteger(std::string& text, const std::array<std::uint8_t, 20>& decimals, int count, int integers) const {
    if (integers <= 0) {
      text.append(digits[0]);
      return;
    }
    const bool isGrouped = primaryGroup > 0 && integers >= primaryGroup + minimumGrouping;
    for (int index = 0; index < integers; ++index) {
      text.append(digits[decimalAt(decimals, count, index)]);
      const int left = integers - index - 1;
      if (isGrouped && left >= primaryGroup && (left - primaryGroup) % secondaryGroup == 0)
        text.append(groupingSeparator);
    }
  }
};

}  // namespace Tessaly::inline v1::detail
