// SPDX-License-Identifier: MIT
#include <limits>

#include "Tessaly/Core/Base/detail/Hexadecimal.hpp"
#include "Tessaly/Core/Text/UTF8.hpp"
#include "Tessaly/FoundationExtensions/String+Hexadecimal.hpp"

namespace Tessaly::inline v1 {
namespace {

template <typename Number>
std::optional<Number> numberOf(std::string_view text) {
  if (!Text::isWellFormed(text)) return numberOf<Number>(Text::sanitized(text));
  if (text.empty()) return std::nullopt;
  Number number = 0;
  for (const char character : text) {
    const auto byte = static_cast<unsigned char>(character);
    const int bits = byte < 0x10 ? 4 : 8;
    if (number >> (std::numeric_limits<Number>::digits - bits) != 0) return std::nullopt;
    number = number << bits | byte;
  }
  return number;
}

}  // namespace

std::string String::hexString(std::string_view text) {
  if (!Text::isWellFormed(text)) return hexString(Text::sanitized(text));
  std::string result;
  result.reserve(2 * text.size());
  for (const char character : text) {
    const auto byte = static_cast<unsigned char>(character);
    if (byte >= 0x10) result += detail::upperHexadecimalDigits[byte >> 4];
    result += detail::upperHexadecimalDigits[byte & 0xF];
  }
  return result;
}

std::optional<std::uint32_t> String::hexUInt32(std::string_view text) { return numberOf<std::uint32_t>(text); }

std::optional<std::uint64_t> String::hexUInt64(std::string_view text) { return numberOf<std::uint64_t>(text); }

}  // namespace Tessaly::inline v1
