// SPDX-License-Identifier: MIT
// Component: Tessaly::FoundationExtensions
#pragma once

#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1::String {

// Characters are user-perceived ones. Every maximal ill-formed subsequence of the UTF-8 counts as one U+FFFD. Unchanged
// parts keep their bytes.

/// Whether the text contains an emoji (`Character::isEmoji`). Stops at the first emoji. Allocates nothing.
///
/// Thread contract: thread-safe. O(n).
///
///     const bool isPlain = !String::containsEmoji("Call me at 10 ©");  // true
[[nodiscard]] TESSALY_EXPORT bool containsEmoji(std::string_view text) noexcept;

/// The first `length` user-perceived characters and "...", or the whole text if the text has fewer characters. A text
/// of exactly that length gets "...", too. A negative length stops the process.
///
/// Thread contract: thread-safe. O(length).
///
///     const std::string title = String::truncated("abcdef", 3);  // abc...
[[nodiscard]] TESSALY_EXPORT std::string truncated(std::string_view text, std::int64_t length);

/// Converts the first user-perceived character to upper case, independently of any language. The result may be more
/// than one character.
///
/// Thread contract: thread-safe, except on the same text.
TESSALY_EXPORT void uppercaseFirstCharacter(std::string& text);

/// The text with its first character in upper case.
///
/// Thread contract: thread-safe.
[[nodiscard]] TESSALY_EXPORT std::string firstCharacterUppercased(std::string_view text);

/// The text without a full stop at its end, as a view into the text.
///
/// Thread contract: thread-safe.
[[nodiscard]] TESSALY_EXPORT std::string_view lastPointRemoved(std::string_view text) noexcept;
/// The same function for a `std::string`. Clang warns if the view outlives a temporary string.
[[nodiscard]] std::string_view lastPointRemoved(
    const std::same_as<std::string> auto& text TESSALY_LIFETIMEBOUND) noexcept {
  return lastPointRemoved(std::string_view(text));
}

}  // namespace Tessaly::inline v1::String
