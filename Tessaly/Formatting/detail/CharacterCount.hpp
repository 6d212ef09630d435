// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string_view>

#include "Tessaly/Core/Text/GraphemeClusters.hpp"

namespace Tessaly::inline v1::detail {

/// Whether a text has at most `count` user-perceived characters. Finds at most 16 characters beyond the limit, because
/// the iterator finds 16 characters at a time.
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
