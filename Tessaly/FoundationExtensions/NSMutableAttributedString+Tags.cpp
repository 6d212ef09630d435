// SPDX-License-Identifier: MIT
#include <fmt/format.h>

#include <algorithm>
#include <optional>

#include "Tessaly/Core/Text/NSRegularExpression.hpp"
#include "Tessaly/Core/Text/UTF16.hpp"
#include "Tessaly/Core/Text/detail/ForwardEdit.hpp"
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

bool isLineEnd(char16_t unit) {
  return (unit >= u'\n' && unit <= u'\r') || unit == u'\u0085' || unit == u'\u2028' || unit == u'\u2029';
}

/// Whether the tag, as a regular expression, matches only itself.
bool isLiteral(std::string_view tag) {
  return std::ranges::all_of(
      tag, [](char unit) { return unit >= ' ' && unit <= '~' && !std::string_view("\\^$.|?*+()[]{}").contains(unit); });
}

/// The passages from the first opening tag of each line to its last closing tag. A regular expression finds the same
/// passages, but reads to the end of the line again for each opening tag without a closing tag. This function is O(n).
std::vector<NSRange> passagesOf(std::u16string_view text, std::string_view tag) {
  const std::u16string opening = Text::toUTF16(fmt::format("<{}>", tag));
  const std::u16string closing = Text::toUTF16(fmt::format("</{}>", tag));
  std::vector<NSRange> passages;
  std::size_t begin = text.find(opening);
  while (begin != std::u16string_view::npos) {
    const auto rest = text.substr(begin + opening.size());
    const auto lineLength = static_cast<std::size_t>(std::ranges::find_if(rest, isLineEnd) - rest.begin());
    const std::size_t last = rest.substr(0, lineLength).rfind(closing);
    std::size_t next = begin + opening.size() + lineLength;
    if (last != std::u16string_view::npos) {
      const std::size_t length = opening.size() + last + closing.size();
      passages.push_back({.location = static_cast<std::int64_t>(begin), .length = static_cast<std::int64_t>(length)});
      next = begin + length;
    }
    begin = text.find(opening, next);
  }
  return passages;
}

std::vector<NSRange> findPassages(std::u16string_view text, std::string_view tag) {
  if (isLiteral(tag)) return passagesOf(text, tag);
  const auto passage = compiled(fmt::format("<{0}>.*</{0}>", tag));
  return passage ? passage->matches(text) : std::vector<NSRange>();
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
  const std::u16string original = string.utf16();
  const std::vector<NSRange> matches = findPassages(original, htmlTags);
  if (matches.empty()) return;

  // A tag may be a valid expression in one of these patterns and an invalid one in another. An invalid pattern finds
  // nothing.
  const auto anyTag = compiled(fmt::format("</?{}>", htmlTags));
  const auto openingTag = compiled(fmt::format("<{}>", htmlTags));
  const auto closingTag = compiled(fmt::format("</{}>", htmlTags));
  detail::ForwardEdit edit(string);
  for (const NSRange match : matches) {
    const std::u16string_view matched = partOf(original, match);
    edit.replaceCharacters(match, removing(anyTag, matched));
    const auto opening = find(openingTag, matched);
    const auto closing = find(closingTag, matched);
    if (!opening || !closing) continue;
    edit.addAttributes(withAttributes,
                       {.location = match.location, .length = match.length - closing->length - opening->length});
  }
}

}  // namespace Tessaly::inline v1
