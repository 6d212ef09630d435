// SPDX-License-Identifier: MIT
// Component: Tessaly::Text
#pragma once

#include <string_view>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1::Text {

/// Whether the text contains an emoji character. A character (a grapheme cluster) is an emoji if its first scalar has
/// the property Emoji. If that scalar is below U+238D, such as a digit, the character also needs a second scalar, which
/// may be any scalar. The search stops at the first emoji, and skips ASCII in words of eight bytes.
///
/// Thread contract: thread-safe. O(n). Every maximal ill-formed subsequence counts as one U+FFFD, which is not an
/// emoji.
[[nodiscard]] TESSALY_EXPORT bool containsEmoji(std::string_view text) noexcept;

}  // namespace Tessaly::inline v1::Text
