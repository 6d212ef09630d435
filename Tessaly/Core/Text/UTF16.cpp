// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Text/UTF16.hpp"

#include <cstddef>
#include <stdexcept>

#include "Tessaly/Core/Text/UTF8.hpp"

namespace Tessaly::inline v1 {

std::u16string Text::toUTF16(std::string_view text) {
  constexpr std::size_t longest = std::size_t{1} << 30;
  if (text.size() > longest) throw std::length_error("A text is too long for UTF-16");
  std::u16string units(text.size(), u'\0');
  char16_t* out = units.data();
  for (std::size_t at = 0; at < text.size();) {
    if (const auto byte = static_cast<unsigned char>(text[at]); byte < 0x80) {
      *out++ = byte;
      ++at;
      continue;
    }
    const DecodedScalar decoded = decodeScalar(text, at);
    at += decoded.length;
    if (decoded.scalar < 0x10000) {
      *out++ = static_cast<char16_t>(decoded.scalar);
    } else {
      *out++ = static_cast<char16_t>(0xD7C0 + (decoded.scalar >> 10));
      *out++ = static_cast<char16_t>(0xDC00 | (decoded.scalar & 0x3FF));
    }
  }
  units.resize(static_cast<std::size_t>(out - units.data()));
  return units;
}

std::string Text::fromUTF16(std::u16string_view units) {
  std::string text;
  text.reserve(units.size());
  for (std::size_t at = 0; at < units.size(); ++at) {
    char32_t scalar = units[at];
    if (scalar < 0x80) {
      text.push_back(static_cast<char>(scalar));
      continue;
    }
    const bool isLead = scalar >= 0xD800 && scalar <= 0xDBFF;
    if (isLead && at + 1 < units.size() && units[at + 1] >= 0xDC00 && units[at + 1] <= 0xDFFF) {
      scalar = 0x10000 + ((scalar & 0x3FF) << 10) + (units[++at] & 0x3FFu);
    }
    appendScalar(text, scalar);
  }
  return text;
}

}  // namespace Tessaly::inline v1
