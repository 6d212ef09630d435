// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Foundation/detail/TypeIdentifiers.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>

namespace Tessaly::inline v1::detail {
namespace {

constexpr WellKnownType types[] = {
    {"public.item", "", "", {}},
    {"public.content", "", "", {}},
    {"public.data", "application/octet-stream", "", {"public.item"}},
    {"public.directory", "", "", {"public.item"}},
    {"public.folder", "inode/directory", "", {"public.directory"}},
    {"public.text", "", "", {"public.data", "public.content"}},
    {"public.plain-text", "text/plain", "txt", {"public.text"}},
    {"public.comma-separated-values-text", "text/csv", "csv", {"public.plain-text"}},
    {"public.tab-separated-values-text", "text/tab-separated-values", "tsv", {"public.plain-text"}},
    {"public.html", "text/html", "html", {"public.text"}},
    {"public.xml", "application/xml", "xml", {"public.text"}},
    {"public.json", "application/json", "json", {"public.text"}},
    {"public.rtf", "application/rtf", "rtf", {"public.text"}},
    {"public.image", "", "", {"public.data", "public.content"}},
    {"public.png", "image/png", "png", {"public.image"}},
    {"public.jpeg", "image/jpeg", "jpeg", {"public.image"}},
    {"public.tiff", "image/tiff", "tiff", {"public.image"}},
    {"public.svg-image", "image/svg+xml", "svg", {"public.image", "public.xml"}},
    {"public.audiovisual-content", "", "", {"public.data", "public.content"}},
    {"public.audio", "", "", {"public.audiovisual-content"}},
    {"public.mp3", "audio/mpeg", "mp3", {"public.audio"}},
    {"audio/ogg", "audio/ogg", "ogg", {"public.audio"}},
    {"public.movie", "", "", {"public.audiovisual-content"}},
    {"public.mpeg", "video/mpeg", "mpg", {"public.movie"}},
    {"public.mpeg-4", "video/mp4", "mp4", {"public.movie"}},
    {"public.font", "", "", {"public.data", "public.content"}},
    {"public.archive", "", "", {"public.data"}},
    {"public.zip-archive", "application/zip", "zip", {"public.archive"}},
    {"public.tar-archive", "application/x-tar", "tar", {"public.archive"}},
};

constexpr std::string_view prefix = "dyn.a";
constexpr std::string_view digits = "abcdefghkmnpqrstuvwxyz0123456789";
static_assert(digits.size() == 32);

constexpr std::pair<std::string_view, char> abbreviations[] = {{"public.data", '6'}, {"public.text", '7'}};
/// The marks of the packed text. A backslash precedes them inside values.
constexpr std::string_view marks = ":,=?\\";

std::string packed(std::string_view text) {
  std::string result;
  std::uint32_t bits = 0;
  int count = 0;
  for (const char c : text) {
    bits = bits << 8 | static_cast<unsigned char>(c);
    for (count += 8; count >= 5; count -= 5) result += digits[bits >> (count - 5) & 31];
  }
  if (count > 0) result += digits[bits << (5 - count) & 31];
  return result;
}

std::optional<std::string> unpacked(std::string_view text) {
  std::string result;
  std::uint32_t bits = 0;
  int count = 0;
  for (const char c : text) {
    const std::size_t digit = digits.find(c);
    if (digit == std::string_view::npos) return std::nullopt;
    bits = bits << 5 | static_cast<std::uint32_t>(digit);
    count += 5;
    if (count >= 8) {
      count -= 8;
      result += static_cast<char>(bits >> count & 0xFF);
    }
  }
  return result;
}

std::string escaped(std::string_view text) {
  std::string result;
  for (const char c : text) {
    if (marks.contains(c)) result += '\\';
    result += c;
  }
  return result;
}

/// Removes the text before a mark, and the mark. Returns the text without its escapes.
std::string takeUnescaped(std::string_view& text, char mark) {
  std::string result;
  while (!text.empty()) {
    const char c = text.front();
    text.remove_prefix(1);
    if (c == mark) break;
    if (c == '\\' && !text.empty()) {
      result += text.front();
      text.remove_prefix(1);
    } else {
      result += c;
    }
  }
  return result;
}

bool take(std::string_view& text, std::string_view expected) noexcept {
  if (!text.starts_with(expected)) return false;
  text.remove_prefix(expected.size());
  return true;
}

}  // namespace

std::span<const WellKnownType> wellKnownTypes() noexcept { return types; }

const WellKnownType* wellKnownType(std::string_view identifier) noexcept {
  const auto* const found = std::ranges::find(types, identifier, &WellKnownType::identifier);
  return found != std::end(types) ? found : nullptr;
}

const WellKnownType* wellKnownTypeOfMIMEType(std::string_view mimeType) noexcept {
  if (mimeType.empty()) return nullptr;
  const auto* const found = std::ranges::find(types, mimeType, &WellKnownType::mimeType);
  return found != std::end(types) ? found : nullptr;
}

std::string dynamicIdentifier(const DynamicType& type) {
  const auto* const abbreviation =
      std::ranges::find(abbreviations, type.supertype, &std::pair<std::string_view, char>::first);
  const std::string supertype =
      abbreviation != std::end(abbreviations) ? std::string(1, abbreviation->second) : escaped(type.supertype);
  return std::string(prefix) + packed("?0=" + supertype + ":1=" + escaped(type.filenameExtension));
}

std::optional<DynamicType> dynamicType(std::string_view identifier) {
  if (!take(identifier, prefix)) return std::nullopt;
  const auto text = unpacked(identifier);
  if (!text) return std::nullopt;
  std::string_view rest = *text;
  if (!take(rest, "?0=")) return std::nullopt;
  DynamicType type;
  type.supertype = takeUnescaped(rest, ':');
  if (!take(rest, "1=")) return std::nullopt;
  type.filenameExtension = takeUnescaped(rest, '\0');
  if (type.supertype.empty() || type.filenameExtension.empty()) return std::nullopt;
  const auto* const abbreviation = std::ranges::find_if(
      abbreviations, [&](const auto& pair) { return type.supertype == std::string(1, pair.second); });
  if (abbreviation != std::end(abbreviations)) type.supertype = abbreviation->first;
  // Only the identifier that `dynamicIdentifier` makes for the type is valid.
  if (dynamicIdentifier(type) != std::string(prefix) + std::string(identifier)) return std::nullopt;
  return type;
}

}  // namespace Tessaly::inline v1::detail
