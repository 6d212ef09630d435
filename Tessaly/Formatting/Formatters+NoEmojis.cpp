// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Base/FatalError.hpp"
#include "Tessaly/Formatting/Formatters+CharactersLimit.hpp"
#include "Tessaly/Formatting/Formatters+NoEmojis.hpp"
#include "Tessaly/Formatting/detail/CharacterCount.hpp"
#include "Tessaly/FoundationExtensions/Character+Emoji.hpp"

namespace Tessaly::inline v1::Formatters {

NoEmojis::NoEmojis(std::optional<std::int64_t> charactersLimit) : charactersLimit_(charactersLimit) {
  registerClasses();
}
NoEmojis::~NoEmojis() = default;

std::optional<std::shared_ptr<NoEmojis>> NoEmojis::from(const Data&) {
  fatalError("init(coder:) has not been implemented", "Tessaly/Formatters+NoEmojis", __LINE__);
}

std::string_view NoEmojis::className() const noexcept { return "Tessaly.NoEmojis"; }

std::optional<std::string> NoEmojis::string(const std::any& object) const { return text(object); }

bool NoEmojis::getObjectValue(std::any* object, std::string_view text, std::optional<std::string>*) {
  if (object == nullptr) return true;
  std::string kept;
  kept.reserve(text.size());
  for (const std::string_view character : Text::GraphemeClusters(text)) {
    if (!Character::isEmoji(character)) kept += character;
  }
  *object = std::move(kept);
  return true;
}

bool NoEmojis::isPartialStringValid(std::string_view partialString, std::optional<std::string>*,
                                    std::optional<std::string>*) {
  return !charactersLimit_ || detail::hasAtMost(partialString, *charactersLimit_);
}

}  // namespace Tessaly::inline v1::Formatters
