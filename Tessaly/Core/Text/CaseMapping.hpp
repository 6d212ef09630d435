// SPDX-License-Identifier: MIT
// Component: Tessaly::Text
#pragma once

#include <string>
#include <string_view>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1::Text {

/// The text in upper or lower case, by Unicode's full mappings, which depend on no language. In upper case, "ß" becomes
/// "SS". In lower case, "İ" becomes "i̇", and a sigma at the end of a word becomes "ς". The result may have more
/// characters than the text. Ill-formed UTF-8 becomes U+FFFD. Throws `std::length_error` for a text of more than 1 GiB
/// that is not ASCII. The standard library maps only single bytes and wide characters.
///
/// Thread contract: thread-safe. O(n). ASCII text needs no call of ICU.
[[nodiscard]] TESSALY_EXPORT std::string uppercased(std::string_view text);
[[nodiscard]] TESSALY_EXPORT std::string lowercased(std::string_view text);

}  // namespace Tessaly::inline v1::Text
