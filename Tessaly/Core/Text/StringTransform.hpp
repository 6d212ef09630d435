// SPDX-License-Identifier: MIT
// Component: Tessaly::Text
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1::Text {

/// The result of applying a transform of ICU to a text. The identifier is ICU's name of the transform, such as
/// "Any-Latin" or "Latin-ASCII; Lower". Absent if ICU does not know the transform. Ill-formed UTF-8 counts as U+FFFD.
/// Throws `std::length_error` for a text of 1 GiB or more.
///
/// The first call with an identifier makes the transform and keeps it for later calls. That call takes 10 ms or more.
/// If calls run on several threads at the same time, each of them needs a transform of its own. O(n), except for texts
/// that ICU must divide into words by a dictionary, such as Thai.
///
/// Thread contract: thread-safe.
///
///     const std::optional<std::string> name = Text::transformed("Ελληνικά", "Any-Latin");  // Ellēniká
[[nodiscard]] TESSALY_EXPORT std::optional<std::string> transformed(std::string_view text, std::string_view identifier);

/// The form of a text for searches. The result always equals `transformed(text, "Any-Latin; Latin-ASCII; Lower")`, but
/// the call takes less time. The result is absent if ICU lacks this transform and the text needs ICU. ASCII text never
/// needs ICU. A table gives the result for Cyrillic, Greek, Hebrew, Arabic, Hangul, kana, ideographs, Latin and
/// decomposed Latin. ICU computes the table's entry for a character at the character's first use. ICU transforms other
/// texts in pieces. A piece reaches from one space between two words of the same script to the next such space.
///
/// Thread contract: thread-safe.
[[nodiscard]] TESSALY_EXPORT std::optional<std::string> transformedForSearch(std::string_view text);

}  // namespace Tessaly::inline v1::Text
