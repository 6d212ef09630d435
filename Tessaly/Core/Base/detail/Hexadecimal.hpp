// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace Tessaly::inline v1::detail {

inline constexpr std::string_view upperHexadecimalDigits = "0123456789ABCDEF";
inline constexpr std::string_view lowerHexadecimalDigits = "0123456789abcdef";

/// Appends the two digits of a byte.
constexpr void appendHexadecimal(std::string& text, std::uint8_t byte, std::string_view digits) {
  text += digits[byte >> 4];
  text += digits[byte & 0xF];
}

inline constexpr auto hexadecimalValues = [] {
  std::array<std::int8_t, 256> values{};
  values.fill(-1);
  for (const std::string_view digits : {upperHexadecimalDigits, lowerHexadecimalDigits}) {
    for (std::size_t i = 0; i < digits.size(); ++i) {
      values[static_cast<unsigned char>(digits[i])] = static_cast<std::int8_t>(i);
    }
  }
  return values;
}();

/// The value of a hexadecimal digit of either case, or -1 for any other character.
[[nodiscard]] constexpr int hexadecimalValue(char digit) noexcept {
  return hexadecimalValues[static_cast<unsigned char>(digit)];
}

}  // namespace Tessaly::inline v1::detail
