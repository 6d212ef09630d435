// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Base/FatalError.hpp"
#include "Tessaly/Core/Text/StringTransform.hpp"
#include "Tessaly/FoundationExtensions/String+Search.hpp"
#include "Tessaly/FoundationExtensions/detail/CharacterPrefix.hpp"

namespace Tessaly::inline v1 {

std::string String::normalizedForSearch(std::string_view text) {
  auto normalized = Text::transformedForSearch(text);
  return normalized ? std::move(*normalized) : std::string(text);
}

std::string String::normalizedForSearch(std::string_view text, std::int64_t prefixedUpTo) {
  if (prefixedUpTo < 0) fatalError("A prefix cannot have a negative length", "Tessaly/String+Search", __LINE__);
  std::string normalized = normalizedForSearch(text);
  if (const auto prefix = detail::characterPrefix(normalized, prefixedUpTo)) normalized.resize(prefix->size());
  return normalized;
}

}  // namespace Tessaly::inline v1
