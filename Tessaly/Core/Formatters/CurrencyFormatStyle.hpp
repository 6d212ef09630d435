// SPDX-License-Identifier: MIT
// Component: Tessaly::Formatters
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "Tessaly/Core/Formatters/detail/NumericStyle.hpp"

namespace Tessaly::inline v1 {

/// Writes an amount of money: "$9.99". A new style writes the fraction digits of its currency: two for euros, none for
/// yen.
///
/// The nearest standard facility is `std::put_money`, which knows one currency for each locale. The cost is that of
/// `NumberFormatStyle`.
///
/// Thread contract: thread-compatible. Threads may share a style that no thread changes.
///
///     auto price = CurrencyFormatStyle("EUR").locale(Locale("de"));
///     std::cout << price.format(1'234.5);                                    // 1.234,50 €
///     std::cout << price.width(CurrencyFormatStyle::Width::wide).format(2);  // 2,00 Euro
///     auto dollars = CurrencyFormatStyle("USD").locale(Locale("en"));
///     std::cout << dollars.sign(CurrencyFormatStyle::Sign::accounting).format(-5);  // ($5.00)
class CurrencyFormatStyle : public detail::NumericStyle<CurrencyFormatStyle> {
 public:
  /// The form of the currency: the locale's symbol ("US$"), the shortest symbol ("$"), the code ("USD") or the name of
  /// the currency.
  enum class Width : std::uint8_t { symbol, narrowSymbol, code, wide };
  /// The form of negative amounts: with a minus sign, or in parentheses if accountants of the locale use them.
  enum class Sign : std::uint8_t { standard, accounting };

  /// The style of a currency that is given by its ISO 4217 code, in letters of either case. An unknown code is written
  /// in upper case. If the code is not three ASCII letters, the amount has the sign "¤".
  explicit CurrencyFormatStyle(std::string_view code) noexcept {
    shape_.kind = detail::NumberShape::Kind::currency;
    shape_.currency = codeOf(code);
    shape_.minimumFraction = shape_.maximumFraction = -1;
  }

  /// Sets the width. The default is `symbol`.
  [[nodiscard]] CurrencyFormatStyle width(Width width) const {
    using Shape = detail::NumberShape::Width;
    constexpr std::array widths{Shape::abbreviated, Shape::narrow, Shape::code, Shape::wide};
    return changed([&](CurrencyFormatStyle& style) { style.shape_.width = widths[static_cast<std::size_t>(width)]; });
  }
  /// Sets the form of negative amounts. The default is `standard`.
  [[nodiscard]] CurrencyFormatStyle sign(Sign sign) const {
    return changed([&](CurrencyFormatStyle& style) { style.shape_.isAccounting = sign == Sign::accounting; });
  }

 private:
  friend detail::NumericStyle<CurrencyFormatStyle>;

  static constexpr std::array<char, 4> codeOf(std::string_view code) noexcept {
    constexpr std::array<char, 4> unknown{'X', 'X', 'X', '\0'};
    std::array<char, 4> result{};
    if (code.size() != 3) return unknown;
    for (std::size_t index = 0; index < 3; ++index) {
      const char letter = code[index];
      const bool isLower = letter >= 'a' && letter <= 'z';
      if (!isLower && (letter < 'A' || letter > 'Z')) return unknown;
      result[index] = isLower ? static_cast<char>(letter - 'a' + 'A') : letter;
    }
    return result;
  }
};

}  // namespace Tessaly::inline v1
