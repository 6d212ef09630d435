// SPDX-License-Identifier: MIT
// Component: Tessaly::Base
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "Tessaly/Core/Base/Requirements.hpp"

namespace Tessaly::inline v1::Text {

/// The replacement for ill-formed input: U+FFFD.
inline constexpr char32_t replacementCharacter = U'\uFFFD';

/// One Unicode scalar value that was read from UTF-8.
///
/// Every maximal subpart of an ill-formed subsequence is read as one U+FFFD, as the Unicode standard recommends.
/// Reading therefore always advances and never fails.
///
///     DecodedScalar euro = decodeScalar("€5", 0);
///     // euro.scalar is U'€', euro.length is 3, euro.isWellFormed is true.
struct DecodedScalar {
  char32_t scalar = 0;
  /// The number of bytes read: 1 to 4.
  std::uint8_t length = 0;
  /// False if `scalar` is a U+FFFD in place of ill-formed bytes.
  bool isWellFormed = false;

  friend bool operator==(const DecodedScalar&, const DecodedScalar&) noexcept = default;
};

/// Reads the scalar at a byte offset, which must be less than the size of the text.
///
/// Thread contract: thread-safe.
[[nodiscard]] constexpr DecodedScalar decodeScalar(std::string_view text, std::size_t offset) noexcept {
  const auto byteAt = [&](std::size_t index) { return static_cast<unsigned char>(text[offset + index]); };
  const unsigned char lead = byteAt(0);
  if (lead < 0x80) return {lead, 1, true};
  const std::uint8_t expected = lead >= 0xC2 && lead <= 0xDF   ? 2
                                : lead >= 0xE0 && lead <= 0xEF ? 3
                                : lead >= 0xF0 && lead <= 0xF4 ? 4
                                                               : 0;
  if (expected == 0) return {replacementCharacter, 1, false};

  // The range of the second byte excludes overlong forms, surrogates, and numbers above U+10FFFF.
  const unsigned char lowest = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
  const unsigned char highest = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
  char32_t scalar = lead & (0x7Fu >> expected);
  std::uint8_t length = 1;
  for (; length < expected; ++length) {
    if (offset + length >= text.size()) return {replacementCharacter, length, false};
    const unsigned char next = byteAt(length);
    const bool isFirst = length == 1;
    if (next < (isFirst ? lowest : 0x80) || next > (isFirst ? highest : 0xBF)) {
      return {replacementCharacter, length, false};
    }
    scalar = scalar << 6 | (next & 0x3Fu);
  }
  return {scalar, length, true};
}

}  // namespace Tessaly::inline v1::Text
