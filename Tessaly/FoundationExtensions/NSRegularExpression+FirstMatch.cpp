// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Text/UTF16.hpp"
#include "Tessaly/FoundationExtensions/NSRegularExpression+FirstMatch.hpp"

namespace Tessaly::inline v1 {

std::optional<std::string> firstMatch(const NSRegularExpression& expression, std::string_view string) {
  const std::u16string units = Text::toUTF16(string);
  const auto range = expression.rangeOfFirstMatch(units);
  if (!range) return std::nullopt;
  return Text::fromUTF16(std::u16string_view(units).substr(static_cast<std::size_t>(range->location),
                                                           static_cast<std::size_t>(range->length)));
}

}  // namespace Tessaly::inline v1
