// SPDX-License-Identifier: MIT
// Component: Tessaly::FoundationExtensions
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1::String {

/// The text in the form that searches compare: all scripts in Latin letters without marks, in lower case. A character
/// without such a form stays unchanged. Every maximal ill-formed subsequence becomes U+FFFD.
///
/// The result equals that of ICU's transform "Any-Latin; Latin-ASCII; Lower". The first call with a character beyond
/// ASCII takes about 10 ms longer, because this call makes the transform.
///
/// Thread contract: thread-safe. For the usual scripts, ICU transforms each character only once, and a table keeps the
/// result.
///
///     const bool matches = String::normalizedForSearch("Øyvind Straße") == "oyvind strasse";
[[nodiscard]] TESSALY_EXPORT std::string normalizedForSearch(std::string_view text);

/// The first `prefixedUpTo` user-perceived characters of the normalised text, or the whole normalised text if it has
/// fewer characters. A negative number stops the process.
///
/// Thread contract: thread-safe.
[[nodiscard]] TESSALY_EXPORT std::string normalizedForSearch(std::string_view text, std::int64_t prefixedUpTo);

}  // namespace Tessaly::inline v1::String
