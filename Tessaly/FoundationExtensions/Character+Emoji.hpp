// SPDX-License-Identifier: MIT
// Component: Tessaly::FoundationExtensions
#pragma once

#include <string_view>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1::Character {

// A character is a user-perceived one, as `Text::GraphemeClusters` gives them. Of a longer text the first character
// counts; the empty text is no emoji. Every maximal ill-formed subsequence counts as one U+FFFD.

/// Whether the first scalar has Unicode's property Emoji and is U+238D or beyond: so neither a digit nor U+00A9, but a
/// lone regional indicator.
///
/// Thread contract: thread-safe.
[[nodiscard]] TESSALY_EXPORT bool isSimpleEmoji(std::string_view character) noexcept;

/// Whether there are two or more scalars, the first of which has Unicode's property Emoji: a digit with the enclosing
/// keycap, U+00A9 with the emoji variation selector, a flag, a family.
///
/// Thread contract: thread-safe.
[[nodiscard]] TESSALY_EXPORT bool isCombinedIntoEmoji(std::string_view character) noexcept;

/// Whether it is one or the other.
///
/// Thread contract: thread-safe.
///
///     const bool isKeycap = Character::isEmoji("1️⃣");  // true, and false for "1"
[[nodiscard]] TESSALY_EXPORT bool isEmoji(std::string_view character) noexcept;

}  // namespace Tessaly::inline v1::Character
