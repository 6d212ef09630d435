// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

#include "Tessaly/Platform/Text/UTF8.hpp"

namespace Tessaly::inline v1::detail {

/// Appends UTF-16 as UTF-8. Every surrogate without its partner becomes U+FFFD.
///
/// Thread contract: thread-safe, except on the same text.
inline void appendUTF16(std::string& text, std::u16string_view units) {
  text.reserve(text.size() + units.size());
  for (std::size_t index = 0; index < units.size(); ++index) {
    const char16_t unit = units[index];
    if (unit < 0x80) {
      text.push_back(static_cast<char>(unit));
    } else if (unit >= 0xD800 && unit < 0xDC00 && index + 1 < units.size() && units[index + 1] >= 0xDC00 &&
               units[index + 1] < 0xE000) {
      Text::appendScalar(text, 0x10000u + ((unit - 0xD800u) << 10) + (units[index + 1] - 0xDC00u));
      ++index;
    } else {
      Text::appendScalar(text, unit);
    }
  }
}

/// The same as a text of its own.
///
/// Thread contract: thread-safe.
[[nodiscard]] inline std::string fromUTF16(std::u16string_view units) {
  std::string text;
  appendUTF16(text, units);
  return text;
}

/// The same of ICU's string class.
///
/// Thread contract: thread-safe.
template <typename UnicodeString>
  requires requires(const UnicodeString& units) { units.getBuffer(); }
[[nodiscard]] std::string fromUTF16(const UnicodeString& units) {
  return fromUTF16(std::u16string_view(units.getBuffer(), static_cast<std::size_t>(units.length())));
}

}  // namespace Tessaly::inline v1::detail
