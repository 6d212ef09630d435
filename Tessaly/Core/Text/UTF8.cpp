// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Text/UTF8.hpp"

#include "Tessaly/Core/Text/detail/ASCII.hpp"

namespace Tessaly::inline v1::Text {
namespace {

using detail::skipASCII;

/// The offset of the first ill-formed byte at or after `offset`, or the size.
std::size_t skipWellFormed(std::string_view text, std::size_t offset) noexcept {
  while ((offset = skipASCII(text, offset)) < text.size()) {
    const DecodedScalar decoded = decodeScalar(text, offset);
    if (!decoded.isWellFormed) break;
    offset += decoded.length;
  }
  return offset;
}

}  // namespace

bool isWellFormed(std::string_view text) noexcept { return skipWellFormed(text, 0) == text.size(); }

std::string sanitized(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  std::size_t begin = 0;
  for (;;) {
    const std::size_t end = skipWellFormed(text, begin);
    result.append(text, begin, end - begin);
    if (end == text.size()) return result;
    appendScalar(result, replacementCharacter);
    begin = end + decodeScalar(text, end).length;
  }
}

void appendScalar(std::string& text, char32_t scalar) {
  if (scalar > 0x10FFFF || (scalar >= 0xD800 && scalar <= 0xDFFF)) scalar = replacementCharacter;
  const auto push = [&](char32_t byte) { text.push_back(static_cast<char>(byte)); };
  const auto pushTrail = [&](int shift) { push(0x80 | (scalar >> shift & 0x3F)); };
  if (scalar < 0x80) {
    push(scalar);
  } else if (scalar < 0x800) {
    push(0xC0 | scalar >> 6);
    pushTrail(0);
  } else if (scalar < 0x10000) {
    push(0xE0 | scalar >> 12);
    pushTrail(6);
    pushTrail(0);
  } else {
    push(0xF0 | scalar >> 18);
    pushTrail(12);
    pushTrail(6);
    pushTrail(0);
  }
}

}  // namespace Tessaly::inline v1::Text
