// SPDX-License-Identifier: MIT
// Component: Tessaly::Text
#pragma once

#include <string_view>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1::Text {

/// Whether one of the text's user-perceived characters is an emoji: its first scalar has Unicode's property Emoji, and
/// is U+238D or beyond, or not the only one. Stops at the first; reads what cannot be one at the speed of memory.
///
/// Thread contract: thread-safe. O(n). Every maximal ill-formed subsequence counts as one U+FFFD, which is none.
[[nodiscard]] TESSALY_EXPORT bool containsEmoji(std::string_view text) noexcept;

}  // namespace Tessaly::inline v1::Text
