// SPDX-License-Identifier: MIT
// Component: Tessaly::Text
#pragma once

#include <string>
#include <string_view>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1::Text {

/// The text in upper or lower case, by Unicode's full mappings, which depend on no language: "ß" becomes "SS", "İ"
/// becomes "i̇", and a final sigma becomes "ς". The result may have more characters than the text. Ill-formed UTF-8
/// becomes U+FFFD. The standard library maps only single bytes and wide characters.
///
/// Thread contract: thread-safe. O(n). ASCII text needs no call of ICU.
[[nodiscard]] TESSALY_EXPORT std::string uppercased(std::string_view text);
[[nodiscard]] TESSALY_EXPORT std::string lowercased(std::string_view text);

}  // namespace Tessaly::inline v1::Text
