// SPDX-License-Identifier: MIT
// Component: Tessaly::FoundationExtensions
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Text/NSRegularExpression.hpp"

namespace Tessaly::inline v1 {

/// The text of the first match. Absent if there is no match. Every maximal ill-formed subsequence counts as U+FFFD.
///
/// Thread contract: thread-safe.
///
///     const auto year = firstMatch(NSRegularExpression("\\d{4}"), "Since 1965");  // 1965
[[nodiscard]] TESSALY_EXPORT std::optional<std::string> firstMatch(const NSRegularExpression& expression,
                                                                   std::string_view string);

}  // namespace Tessaly::inline v1
