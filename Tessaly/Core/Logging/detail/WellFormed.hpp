// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "Tessaly/Core/Base/DecodedScalar.hpp"

namespace Tessaly::inline v1::detail {

/// The length of the longest prefix that is well-formed UTF-8.
inline std::size_t wellFormedPrefix(std::string_view text) noexcept {
  constexpr std::uint64_t highBits = 0x8080808080808080;
  std::size_t offset = 0;
  while (offset < text.size()) {
    std::uint64_t eight = highBits;
    if (offset + sizeof(eight) <= text.size()) std::memcpy(&eight, text.data() + offset, sizeof(eight));
    if ((eight & highBits) == 0) {
      offset += sizeof(eight);
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
