// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "Tessaly/Core/Text/GraphemeClusters.hpp"

namespace Tessaly::inline v1::detail {

/// The first `count` user-perceived characters of a text. Absent if the text has fewer characters.
[[nodiscard]] inline std::optional<std::string_view> characterPrefix(std::string_view text,
                                                                     std::int64_t count) noexcept {
  const Text::GraphemeClusters characters(text);
  auto end = characters.begin();
  for (; count > 0; --count) {
    if (end == characters.end()) return std::nullopt;
    ++end;
  }
  return text.substr(0, end.offset());
}

}  // namespace Tessaly::inline v1::detail
