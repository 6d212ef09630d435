// SPDX-License-Identifier: MIT
// Component: Tessaly::Text
#pragma once

#include <string>
#include <string_view>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1::Text {

/// The text in UTF-16. Every maximal ill-formed subsequence becomes one U+FFFD. Throws `std::length_error` for a text
/// of more than 1 GiB.
///
/// Thread contract: thread-safe. O(n).
///
///     const std::u16string units = Text::toUTF16("a😀");  // Three units.
[[nodiscard]] TESSALY_EXPORT std::u16string toUTF16(std::string_view text);

/// The text in UTF-8. Every surrogate without its partner becomes U+FFFD.
///
/// Thread contract: thread-safe. O(n).
[[nodiscard]] TESSALY_EXPORT std::string fromUTF16(std::u16string_view units);

}  // namespace Tessaly::inline v1::Text
