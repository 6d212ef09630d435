// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Text/EmojiSearch.hpp"

#include "Tessaly/Core/Text/detail/ASCII.hpp"
#include "Tessaly/Core/Text/detail/CharacterClasses.hpp"
#include "Tessaly/Core/Text/detail/ClusterStarts.hpp"

namespace Tessaly::inline v1::Text {
namespace {

using detail::CharacterClass;
using detail::CharacterProperties;
using detail::Joint;

constexpr char32_t firstSimpleEmoji = 0x238D;

/// Whether the scalar at `next` belongs to the same character as the scalar before it, whatever text precedes both.
bool isJoinedWithNext(CharacterClass last, std::string_view text, std::size_t next) noexcept {
  return next < text.size() &&
         detail::joint(last, CharacterProperties(decodeScalar(text, next).scalar).characterClass()) == Joint::joins;
}

/// Whether a scalar makes its character an emoji. The scalar has the property Emoji, ends at `end`, and may be the
/// first of its character. `before` is the class of the scalar before it.
bool isEmojiAt(std::string_view text, const DecodedScalar& decoded, CharacterClass before, std::size_t end) noexcept {
  const CharacterClass at = CharacterProperties(decoded.scalar).characterClass();
  const Joint joint = detail::joint(before, at);
  if (joint == Joint::joins) return false;
  if (decoded.scalar < firstSimpleEmoji && !isJoinedWithNext(at, text, end)) return false;
  return joint == Joint::breaks || detail::isClusterStart(text, end - decoded.length);
}

}  // namespace

bool containsEmoji(std::string_view text) noexcept {
  auto before = CharacterClass::control;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t begin = at;
    DecodedScalar decoded;
    if (static_cast<unsigned char>(text[at]) < 0x80) {
      // In a run of ASCII, only the last character can be joined with the following text.
      at = detail::skipASCII(text, at);
      decoded = {static_cast<unsigned char>(text[at - 1]), 1, true};
      if (at - begin > 1) before = CharacterClass::other;
    } else {
      decoded = decodeScalar(text, at);
      at += decoded.length;
    }
    const CharacterProperties properties(decoded.scalar);
    if (properties.isEmoji() && isEmojiAt(text, decoded, before, at)) return true;
    before = properties.characterClass();
  }
  return false;
}

}  // namespace Tessaly::inline v1::Text
