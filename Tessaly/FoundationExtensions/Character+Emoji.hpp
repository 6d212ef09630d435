// SPDX-License-Identifier: MIT
// Component: Tessaly::FoundationExtensions
#pragma once

#include <string_view>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1::Character {

// A character is user-perceived, as in `Text::GraphemeClusters`. In a longer text, only the first character counts. The
// empty text is not an emoji. Every maximal ill-formed subsequence counts as one U+FFFD.

/// Whether the first scalar has Unicode's property Emoji and is U+238D or above. Digits and U+00A9 are excluded; a
/// single regional indicator is included.
///
/// Thread contract: thread-safe.
[[nodiscard]] TESSALY_EXPORT bool isSimpleEmoji(std::string_view character) noexcept;

/// Whether the character has at least two scalars, and the first scalar has Unicode's property Emoji. Examples are a
/// digit with the enclosing keycap, U+00A9 with the emoji variation selector, a flag and a family.
///
/// Thread contract: thread-safe.
[[nodiscard]] TESSALY_EXPORT bool isCombinedIntoEmoji(std::string_view character) noexcept;

/// Whether `isSimpleEmoji` or `isCombinedIntoEmoji` is true.
///
/// Thread contract: thread-safe.
///
///     const bool isKeycap = Character::isEmoji("1️⃣");  // true, and false for "1"
[[nodiscard]] TESSALY_EXPORT bool isEmoji(std::string_view character) noexcept;

}  // namespace Tessaly::inline v1::Character
