// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Pasteboard/detail/PasteboardContents.hpp"

#include <cstdint>

namespace Tessaly::inline v1::detail {
namespace {

constexpr const char* uriList = "text/uri-list";
constexpr const char* latin1 = "STRING";
constexpr const char* plainForms[] = {"text/plain;charset=utf-8", "UTF8_STRING", "text/plain", "TEXT", latin1};

/// The text in ISO 8859-1. A question mark replaces each character that the encoding lacks. Bytes that are not UTF-8
/// stay.
std::string inLatin1(std::string_view text) {
  std::string result;
  for (std::size_t i = 0; i < text.size();) {
    const auto byte = static_cast<unsigned char>(text[i]);
    const std::size_t length = byte < 0xC2 ? 1 : byte < 0xE0 ? 2 : byte < 0xF0 ? 3 : byte < 0xF5 ? 4 : 1;
    std::size_t end = i + 1;
    while (end < text.size() && end < i + length && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) ++end;
    if (end - i != length || length == 1) {
      result.push_back(text[i]);
      ++i;
    } else {
      const int character = (byte & 0x1F) << 6 | (static_cast<unsigned char>(text[i + 1]) & 0x3F);
      result.push_back(length == 2 && character <= 0xFF ? static_cast<char>(character) : '?');
      i = end;
    }
  }
  return result;
}

}  // namespace

void PasteboardContents::set(std::string_view text, PasteboardType type) {
  (type == PasteboardType::url ? url : string) = text;
}

std::vector<const char*> PasteboardContents::forms() const {
  std::vector<const char*> forms;
  if (url) forms.push_back(uriList);
  if (url || string) forms.insert(forms.end(), std::begin(plainForms), std::end(plainForms));
  return forms;
}

std::shared_ptr<const std::string> PasteboardContents::bytes(std::string_view form) const {
  // Lines of a URI list end with CRLF (RFC 2483).
  if (form == uriList) return url ? std::make_shared<std::string>(*url + "\r\n") : nullptr;
  const std::optional<std::string>& plain = string ? string : url;
  if (!plain) return nullptr;
  for (const char* offered : plainForms) {
    if (form == offered) return std::make_shared<std::string>(form == latin1 ? inLatin1(*plain) : *plain);
  }
  return nullptr;
}

}  // namespace Tessaly::inline v1::detail
