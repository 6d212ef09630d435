// SPDX-License-Identifier: MIT
// Component: Tessaly::Text
#pragma once

#include <string_view>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1::Text {

/// Whether the text contains an emoji character. A character is an emoji if its first scalar has the property Emoji. A
/// first scalar below U+238D also needs a further scalar in the same character. The search stops at the first emoji,
/// and skips ASCII in words of eight bytes.
///
/// Thread contract: thread-safe. O(n). Every maximal ill-formed subsequence counts as one U+FFFD, which is not an
/// emoji.
[[nodiscard]] TESSALY_EXPORT bool containsEmoji(std::string_view text) noexcept;

}  // namespace Tessaly::inline v1::Text
