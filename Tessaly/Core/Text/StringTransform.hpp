// SPDX-License-Identifier: MIT
// Component: Tessaly::Text
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1::Text {

/// Applies a transform of ICU to the text, by ICU's name for it: "Any-Latin", "Latin-ASCII; Lower". Absent if there is
/// no such transform. Ill-formed UTF-8 counts as U+FFFD.
///
/// The first use of a transform makes it, in 10 ms or more, and keeps it. O(n), except for texts that ICU must divide
/// into words by a dictionary, such as Thai.
///
/// Thread contract: thread-safe.
///
///     const std::optional<std::string> name = Text::transformed("Ελληνικά", "Any-Latin");  // Ellēniká
[[nodiscard]] TESSALY_EXPORT std::optional<std::string> transformed(std::string_view text, std::string_view identifier);

/// Always equals `transformed(text, "Any-Latin; Latin-ASCII; Lower")`, but faster. Cyrillic, Greek, Hebrew, Arabic,
/// Hangul, kana, ideographs, Latin and decomposed Latin do not go through ICU, which is asked once for each character.
/// Other texts go through ICU in pieces, from a space between two words of one script to the next.
///
/// Thread contract: thread-safe.
[[nodiscard]] TESSALY_EXPORT std::optional<std::string> transformedForSearch(std::string_view text);

}  // namespace Tessaly::inline v1::Text
