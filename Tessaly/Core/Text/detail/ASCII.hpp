// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace Tessaly::inline v1::Text::detail {

inline constexpr std::uint64_t highBits = 0x8080'8080'8080'8080u;

inline std::uint64_t wordAt(std::string_view text, std::size_t offset) noexcept {
  std::uint64_t word = 0;
  std::memcpy(&word, text.data() + offset, sizeof word);
  return word;
}

/// The offset of the first byte at or after `offset` that is not ASCII, or the size of the text.
inline std::size_t skipASCII(std::string_view text, std::size_t offset) noexcept {
  while (offset + 32 <= text.size()) {
    const std::uint64_t bits =
        wordAt(text, offset) | wordAt(text, offset + 8) | wordAt(text, offset + 16) | wordAt(text, offset + 24);
    if ((bits & highBits) != 0) break;
    offset += 32;
  }
  while (offset + 8 <= text.size() && (wordAt(text, offset) & highBits) == 0) offset += 8;
  while (offset < text.size() && static_cast<unsigned char>(text[offset]) < 0x80) ++offset;
  return offset;
}

/// A mask: the high bit is set in each byte that is a carriage return or is not ASCII. The mask may also contain the
/// high bits of bytes that are more significant than a carriage return.
inline std::uint64_t unusualBytes(std::uint64_t word) noexcept {
  constexpr std::uint64_t ones = 0x0101'0101'0101'0101u;
  const std::uint64_t differing = word ^ (ones * '\r');
  return (word | (differing - ones)) & highBits;
}

/// Skips bytes that are ASCII and not a carriage return, from `offset` on, in whole words of eight bytes. Returns the
/// offset of the first byte that was not skipped. This byte may itself be ASCII, because the function skips no part of
/// a word.
inline std::size_t skipASCIIWithoutReturns(std::string_view text, std::size_t offset) noexcept {
  while (offset + 32 <= text.size() &&
         (unusualBytes(wordAt(text, offset)) | unusualBytes(wordAt(text, offset + 8)) |
          unusualBytes(wordAt(text, offset + 16)) | unusualBytes(wordAt(text, offset + 24))) == 0) {
    offset += 32;
  }
  while (offset + 8 <= text.size() && unusualBytes(wordAt(text, offset)) == 0) offset += 8;
  return offset;
}

}  // namespace Tessaly::inline v1::Text::detail
