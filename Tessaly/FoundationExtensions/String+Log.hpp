// SPDX-License-Identifier: MIT
// Component: Tessaly::FoundationExtensions
#pragma once

#include <string>
#include <string_view>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1::String {

/// The text on one line: every run of white space (Unicode's property White_Space, including line feeds) becomes one
/// space, even at the ends. Bytes that are not UTF-8 stay unchanged. O(n).
///
/// Thread contract: thread-safe.
///
///     const std::string line = String::log("a \n\n  b\tc");  // "a b c"
[[nodiscard]] TESSALY_EXPORT std::string log(std::string_view text);

}  // namespace Tessaly::inline v1::String
