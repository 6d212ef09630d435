// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Base/detail/Escaped.hpp"

#include <fmt/format.h>

#include <cstddef>
#include <iterator>

namespace Tessaly::inline v1 {
namespace {

constexpr bool isControl(unsigned char byte) noexcept { return byte < 0x20 || byte == 0x7F; }

void appendEscaped(std::string& result, unsigned code) {
  fmt::format_to(std::back_inserter(result), "\\u{{{:X}}}", code);
}

}  // namespace

std::string detail::quoted(std::string_view text) {
  std::string result = "\"";
  for (const char character : text) {
    switch (character) {
      case '"':
      case '\\':
        result += '\\';
        result += character;
        break;
      case '\n':
        result += "\\n";
        break;
      case '\r':
        result += "\\r";
        break;
      case '\t':
        result += "\\t";
        break;
      case '\0':
        result += "\\0";
        break;
      default:
        if (const auto byte = static_cast<unsigned char>(character); isControl(byte)) {
          appendEscaped(result, byte);
        } else {
          result += character;
        }
    }
  }
  return result + '"';
}

std::string detail::terminalText(std::string_view text) {
  constexpr unsigned char leadOfC1 = 0xC2;
  std::string result;
  result.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    const unsigned char next = i + 1 < text.size() ? static_cast<unsigned char>(text[i + 1]) : 0;
    if (byte == '\n') {
      result += "\n    ";
    } else if (byte == leadOfC1 && next >= 0x80 && next < 0xA0) {
      appendEscaped(result, next);
      ++i;
    } else if (isControl(byte) && byte != '\t') {
      appendEscaped(result, byte);
    } else {
      result += text[i];
    }
  }
  return result;
}

}  // namespace Tessaly::inline v1
