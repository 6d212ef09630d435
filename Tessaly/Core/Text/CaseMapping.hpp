// SPDX-License-Identifier: MIT
// Component: Tessaly::Text
#pragma once

#include <string>
#include <string_view>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1::Text {

/// The text in upper or lower case by Unicode's full mappings, those of no language in particular: "ß" becomes "SS",
/// "İ" becomes "i̇", a sigma at the end of a word "ς". The result may have more characters than the text. Ill-formed
/// UTF-8 comes out as U+FFFD. The standard library has only the mapping of one byte or one wide character.
///
/// Thread contract: thread-safe. O(n); a text of ASCII needs no call of ICU.
[[nodiscard]] TESSALY_EXPORT std::string uppercased(std::string_view text);
[[nodiscard]] TESSALY_EXPORT std::string lowercased(std::string_view text);

}  // namespace Tessaly::inline v1::Text
