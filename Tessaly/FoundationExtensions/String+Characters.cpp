// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Base/FatalError.hpp"
#include "Tessaly/Core/Text/CaseMapping.hpp"
#include "Tessaly/Core/Text/EmojiSearch.hpp"
#include "Tessaly/Core/Text/GraphemeClusters.hpp"
#include "Tessaly/Core/Text/UTF8.hpp"
#include "Tessaly/FoundationExtensions/String+Characters.hpp"
#include "Tessaly/FoundationExtensions/detail/CharacterPrefix.hpp"

namespace Tessaly::inline v1 {

bool String::containsEmoji(std::string_view text) noexcept { return Text::containsEmoji(text); }

std::string String::truncated(std::string_view text, std::int64_t length) {
  if (length < 0) fatalError("A text cannot be truncated to a negative length", "Tessaly/String+Characters", __LINE__);
  const auto prefix = detail::characterPrefix(text, length);
  if (!prefix) return std::string(text);
  std::string result;
  result.reserve(prefix->size() + 3);
  result.append(*prefix).append("...");
  return result;
}

void String::uppercaseFirstCharacter(std::string& text) {
  if (text.empty()) return;
  const std::string_view first = *Text::GraphemeClusters(text).begin();
  if (Text::isWellFormed(first)) text.replace(0, first.size(), Text::uppercased(first));
}

std::string String::firstCharacterUppercased(std::string_view text) {
  std::string result(text);
  uppercaseFirstCharacter(result);
  return result;
}

std::string_view String::lastPointRemoved(std::string_view text) noexcept {
  if (Text::lastGraphemeCluster(text) == ".") text.remove_suffix(1);
  return text;
}

}  // namespace Tessaly::inline v1
