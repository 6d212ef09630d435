// SPDX-License-Identifier: MIT
// Any bytes are normalised for a search, truncated, searched for emoji and mapped to another case. The results equal
// those of the sanitized text. The normalised text equals that of ICU's transform.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "Tessaly/Core/Text/CaseMapping.hpp"
#include "Tessaly/Core/Text/GraphemeClusters.hpp"
#include "Tessaly/Core/Text/StringTransform.hpp"
#include "Tessaly/Core/Text/UTF16.hpp"
#include "Tessaly/Core/Text/UTF8.hpp"
#include "Tessaly/FoundationExtensions/Character+Emoji.hpp"
#include "Tessaly/FoundationExtensions/String+Characters.hpp"
#include "Tessaly/FoundationExtensions/String+Hexadecimal.hpp"
#include "Tessaly/FoundationExtensions/String+Search.hpp"

namespace {

using namespace Tessaly;

void require(bool condition) {
  if (!condition) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const std::string clean = Text::sanitized(text);
  const std::string normalized = String::normalizedForSearch(text);
  require(normalized == Text::transformed(text, "Any-Latin; Latin-ASCII; Lower"));
  require(normalized.starts_with(String::normalizedForSearch(text, 3)));

  bool hasEmoji = false;
  for (const std::string_view character : Text::GraphemeClusters(text)) hasEmoji |= Character::isEmoji(character);
  require(String::containsEmoji(text) == hasEmoji);
  require(String::containsEmoji(clean) == hasEmoji);
  require(Text::sanitized(String::truncated(text, 4)) == String::truncated(clean, 4));
  require(Text::sanitized(String::lastPointRemoved(text)) == String::lastPointRemoved(clean));
  require(String::hexString(text) == String::hexString(clean));
  require(String::hexUInt64(text) == String::hexUInt64(clean));
  require(Text::uppercased(text) == Text::uppercased(clean));
  require(Text::fromUTF16(Text::toUTF16(text)) == clean);
  return 0;
}
