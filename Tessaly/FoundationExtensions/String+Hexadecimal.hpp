// SPDX-License-Identifier: MIT
// Component: Tessaly::FoundationExtensions
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1::String {

/// The UTF-8 bytes of the text in upper-case hexadecimal, each byte without a leading zero, and without separators:
/// "AB" is "4142", a line feed is "A". So different texts can have the same result. Every maximal ill-formed
/// subsequence counts as U+FFFD, which gives "EFBFBD".
///
/// Thread contract: thread-safe.
///
///     const std::string digits = String::hexString("AB");  // 4142
[[nodiscard]] TESSALY_EXPORT std::string hexString(std::string_view text);

/// The result of `hexString`, parsed as one number. Absent for the empty text, and for a number that does not fit into
/// the result type. Allocates nothing for well-formed text.
///
/// Thread contract: thread-safe.
[[nodiscard]] TESSALY_EXPORT std::optional<std::uint32_t> hexUInt32(std::string_view text);
[[nodiscard]] TESSALY_EXPORT std::optional<std::uint64_t> hexUInt64(std::string_view text);

}  // namespace Tessaly::inline v1::String
