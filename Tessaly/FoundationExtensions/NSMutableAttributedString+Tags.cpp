// SPDX-License-Identifier: MIT
#include <fmt/format.h>

#include <optional>

#include "Tessaly/Core/Text/NSRegularExpression.hpp"
#include "Tessaly/FoundationExtensions/NSMutableAttributedString+Tags.hpp"

namespace Tessaly::inline v1 {
namespace {

std::optional<NSRegularExpression> compiled(const std::string& pattern) {
  try {
    return NSRegularExpression(pattern);
  } catch (const RegularExpressionError&) {
    return std::nullopt;
  }
}

std::u16string_view partOf(std::u16string_view text, NSRange range) {
  return text.substr(static_cast<std::size_t>(range.location), static_cast<std::size_t>(range.length));
}

std::u16string removing(const std::optional<NSRegularExpression>& expression, std::u16string_view text) {
  std::u16string rest;
  std::size_t at = 0;
  if (expression) {
    for (const NSRange match : expression->matches(text)) {
      rest += text.substr(at, static_cast<std::size_t>(match.location) - at);
      at = static_cast<std::size_t>(match.location + match.length);
    }
  }
  return rest += text.substr(at);
}

std::optional<NSRange> find(const std::optional<NSRegularExpression>& expression, std::u16string_view text) {
  return expression ? expression->rangeOfFirstMatch(text) : std::nullopt;
}

}  // namespace

void addAttributes(NSMutableAttributedString& string, const NSMutableAttributedString::Attributes& attributes) {
  string.addAttributes(attributes, {.location = 0, .length = string.length()});
}

void replace(NSMutableAttributedString& string, std::string_view htmlTags,
             const NSMutableAttributedString::Attributes& withAttributes) {
  const auto passage = compiled(fmt::format("<{0}>.*</{0}>", htmlTags));
  if (!passage) return;
  const std::u16string original = string.utf16();
  const std::vector<NSRange> matches = passage->matches(original);
  if (matches.empty()) return;

  // A tag may make an expression of the whole and none of a part; then that part is nowhere.
  const auto anyTag = compiled(fmt::format("</?{}>", htmlTags));
  const auto openingTag = compiled(fmt::format("<{}>", htmlTags));
  const auto closingTag = compiled(fmt::format("</{}>", htmlTags));
  for (const NSRange match : matches) {
    const std::u16string_view matched = partOf(original, match);
    string.replaceCharacters(match, removing(anyTag, matched));
    const auto opening = find(openingTag, matched);
    const auto closing = find(closingTag, matched);
    if (!opening || !closing) continue;
    string.addAttributes(withAttributes,
                         {.location = match.location, .length = match.length - closing->length - opening->length});
  }
}

}  // namespace Tessaly::inline v1
