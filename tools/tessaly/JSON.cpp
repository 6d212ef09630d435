// SPDX-License-Identifier: MIT
#include "JSON.hpp"

#include <fmt/format.h>

#include "Tessaly/Core/Base/DecodedScalar.hpp"

namespace TessalyTool {

std::string quotedJSON(std::string_view text) {
  std::string result = "\"";
  for (std::size_t offset = 0; offset < text.size();) {
    const auto scalar = Tessaly::Text::decodeScalar(text, offset);
    if (scalar.scalar == '"' || scalar.scalar == '\\') {
      result += {'\\', static_cast<char>(scalar.scalar)};
    } else if (scalar.scalar < 0x20) {
      result += fmt::format("\\u{:04x}", static_cast<unsigned>(scalar.scalar));
    } else if (scalar.isWellFormed) {
      result += text.substr(offset, scalar.length);
    } else {
      result += "\uFFFD";
    }
    offset += scalar.length;
  }
  return result + '"';
}

}  // namespace TessalyTool
