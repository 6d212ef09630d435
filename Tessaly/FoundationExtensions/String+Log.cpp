// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Text/Characters.hpp"
#include "Tessaly/Core/Text/UTF8.hpp"
#include "Tessaly/FoundationExtensions/String+Log.hpp"

namespace Tessaly::inline v1 {

std::string String::log(std::string_view text) {
  std::string line;
  line.reserve(text.size());
  bool isInWhiteSpace = false;
  for (std::size_t at = 0; at < text.size();) {
    const auto decoded = Text::decodeScalar(text, at);
    if (!Text::isWhiteSpace(decoded.scalar)) {
      line.append(text, at, decoded.length);
      isInWhiteSpace = false;
    } else if (!isInWhiteSpace) {
      line += ' ';
      isInWhiteSpace = true;
    }
    at += decoded.length;
  }
  return line;
}

}  // namespace Tessaly::inline v1
