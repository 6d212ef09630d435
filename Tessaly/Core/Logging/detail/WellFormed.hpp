// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "Tessaly/Core/Base/DecodedScalar.hpp"

namespace Tessaly::inline v1::detail {

/// The high bit of each of eight bytes. A byte with this bit is not ASCII.
inline constexpr std::uint64_t highBits = 0x8080808080808080;

inline std::uint64_t eightBytes(const char* bytes) noexcept {
  std::uint64_t eight = 0;
  std::memcpy(&eight, bytes, sizeof(eight));
  return eight;
}

/// Whether all bytes are ASCII.
inline bool isASCII(std::string_view text) noexcept {
  std::uint64_t bits = 0;
  if (text.size() < sizeof(bits)) {
    for (const char c : text) bits |= static_cast<unsigned char>(c);
  } else {
    for (std::size_t offset = 0; offset < text.size() - sizeof(bits); offset += sizeof(bits)) {
      bits |= eightBytes(text.data() + offset);
    }
    bits |= eightBytes(text.data() + text.size() - sizeof(bits));  // May include bytes of the previous eight.
  }
  return (bits & highBits) == 0;
}

/// The length of the longest prefix that is well-formed UTF-8.
inline std::size_t wellFormedPrefix(std::string_view text) noexcept {
  std::size_t offset = 0;
  while (offset < text.size()) {
    if (offset + sizeof(highBits) <= text.size() && (eightBytes(text.data() + offset) & highBits) == 0) {
      offset += sizeof(highBits);
      continue;
    }
    const auto scalar = Text::decodeScalar(text, offset);
    if (!scalar.isWellFormed) break;
    offset += scalar.length;
  }
  return offset;
}

/// Passes a text to the body in parts of well-formed UTF-8. U+FFFD replaces each maximal subpart of an ill-formed
/// sequence. A part may be empty.
template <typename Body>
void forEachWellFormedPart(std::string_view text, Body body) {
  if (isASCII(text)) return body(text);
  for (;;) {
    const std::size_t length = wellFormedPrefix(text);
    body(text.substr(0, length));
    if (length == text.size()) return;
    body(std::string_view("\uFFFD"));
    text.remove_prefix(length + Text::decodeScalar(text, length).length);
  }
}

/// The text, with U+FFFD instead of each maximal subpart of an ill-formed sequence.
inline std::string wellFormed(std::string_view text) {
  std::string result;
  forEachWellFormedPart(text, [&](std::string_view part) { result += part; });
  return result;
}

}  // namespace Tessaly::inline v1::detail
