// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Text/EmojiSearch.hpp"

#include "Tessaly/Platform/Text/detail/ASCII.hpp"
#include "Tessaly/Platform/Text/detail/CharacterClasses.hpp"
#include "Tessaly/Platform/Text/detail/ClusterStarts.hpp"

namespace Tessaly::inline v1::Text {
namespace {

using detail::CharacterProperties;

constexpr char32_t firstSimpleEmoji = 0x238D;

/// Whether what follows belongs to the same character as the scalar before it.
bool isJoinedWithNext(char32_t scalar, std::string_view text, std::size_t next) noexcept {
  if (next == text.size()) return false;
  return detail::joint(CharacterProperties(scalar).characterClass(),
                       CharacterProperties(decodeScalar(text, next).scalar).characterClass()) == detail::Joint::joins;
}

/// Whether a scalar, which ends at `end`, makes an emoji of the character that it may be the first of.
bool isEmojiAt(std::string_view text, const DecodedScalar& decoded, std::size_t end) noexcept {
  if (!CharacterProperties(decoded.scalar).isEmoji()) return false;
  if (decoded.scalar < firstSimpleEmoji && !isJoinedWithNext(decoded.scalar, text, end)) return false;
  return detail::isClusterStart(text, end - decoded.length);
}

}  // namespace

bool containsEmoji(std::string_view text) noexcept {
  std::size_t at = 0;
  while (at < text.size()) {
    if (static_cast<unsigned char>(text[at]) < 0x80) {
      // Of a run of ASCII only the last character can be joined with something.
      at = detail::skipASCII(text, at);
      const DecodedScalar last{static_cast<unsigned char>(text[at - 1]), 1, true};
      if (at < text.size() && isEmojiAt(text, last, at)) return true;
      continue;
    }
    const DecodedScalar decoded = decodeScalar(text, at);
    at += decoded.length;
    if (isEmojiAt(text, decoded, at)) return true;
  }
  return false;
}

}  // namespace Tessaly::inline v1::Text
