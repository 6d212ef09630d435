// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string_view>

#include "Tessaly/Core/Text/GraphemeClusters.hpp"

namespace Tessaly::inline v1::detail {

/// Whether a text has at most `count` user-perceived characters. Reads at most one character beyond the limit.
///
/// Thread contract: thread-safe.
[[nodiscard]] inline bool hasAtMost(std::string_view text, std::int64_t count) noexcept {
  if (count < 0) return false;
  if (text.size() <= static_cast<std::uint64_t>(count)) return true;  // A character has at least one byte.
  for ([[maybe_unused]] const std::string_view character : Text::GraphemeClusters(text)) {
    if (count-- == 0) return false;
  }
  return true;
}

}  // namespace Tessaly::inline v1::detail
