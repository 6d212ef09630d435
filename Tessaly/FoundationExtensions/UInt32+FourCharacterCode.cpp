// SPDX-License-Identifier: MIT
#include <algorithm>

#include "Tessaly/Core/Base/FatalError.hpp"
#include "Tessaly/Core/Text/UTF8.hpp"
#include "Tessaly/FoundationExtensions/UInt32+FourCharacterCode.hpp"

namespace Tessaly::inline v1 {

std::string UInt32::detail::characters(std::uint32_t code) {
  if ((code & 0x8080'8080u) != 0) return "no ascii";
  const auto text = bytes(code);
  return {text.begin(), text.end()};
}

std::optional<std::string> UInt32::detail::string(std::uint32_t code) {
  const auto reversed = bytes(code);
  std::string text(reversed.rbegin(), reversed.rend());
  if (!Text::isWellFormed(text)) return std::nullopt;
  return text;
}

void UInt32::detail::stopAtSize() noexcept {
  fatalError("The size does not fit in 32 bits", "Tessaly/UInt32+FourCharacterCode", __LINE__);
}

}  // namespace Tessaly::inline v1
