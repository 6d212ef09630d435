// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Text/Characters.hpp"
#include "Tessaly/Core/Text/GraphemeClusters.hpp"
#include "Tessaly/Core/Text/UTF8.hpp"
#include "Tessaly/FoundationExtensions/Character+Emoji.hpp"

namespace Tessaly::inline v1 {

bool Character::isSimpleEmoji(std::string_view character) noexcept {
  if (character.empty()) return false;
  const char32_t first = Text::decodeScalar(character, 0).scalar;
  return first >= 0x238D && Text::isEmoji(first);
}

bool Character::isCombinedIntoEmoji(std::string_view character) noexcept {
  if (character.empty()) return false;
  const auto first = Text::decodeScalar(character, 0);
  return Text::isEmoji(first.scalar) && (*Text::GraphemeClusters(character).begin()).size() > first.length;
}

bool Character::isEmoji(std::string_view character) noexcept {
  return isSimpleEmoji(character) || isCombinedIntoEmoji(character);
}

}  // namespace Tessaly::inline v1
