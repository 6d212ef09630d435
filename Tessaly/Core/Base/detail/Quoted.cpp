// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Base/detail/Quoted.hpp"

#include <fmt/format.h>

#include <iterator>

namespace Tessaly::inline v1 {

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
        if (const auto code = static_cast<unsigned char>(character); code < 0x20 || code == 0x7F) {
          fmt::format_to(std::back_inserter(result), "\\u{{{:X}}}", code);
        } else {
          result += character;
        }
    }
  }
  return result + '"';
}

}  // namespace Tessaly::inline v1
