// SPDX-License-Identifier: MIT
// Component: Tessaly::FoundationExtensions
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1::String {

/// The text as a search compares it: every script in Latin letters, those without their marks, in lower case. What has
/// no such form stays as it is, but for ill-formed UTF-8, of which every maximal subsequence becomes U+FFFD.
///
/// It is the transform "Any-Latin; Latin-ASCII; Lower" of ICU as a whole. The first call for a text that is not Latin
/// makes that transform, which takes some ten milliseconds.
///
/// Thread contract: thread-safe. Text in Latin letters does not go through ICU.
///
///     const bool matches = String::normalizedForSearch("Øyvind Straße") == "oyvind strasse";
[[nodiscard]] TESSALY_EXPORT std::string normalizedForSearch(std::string_view text);

/// The first characters of the normalised text, or all of it if it has fewer. A negative number stops the process.
///
/// Thread contract: thread-safe.
[[nodiscard]] TESSALY_EXPORT std::string normalizedForSearch(std::string_view text, std::int64_t prefixedUpTo);

}  // namespace Tessaly::inline v1::String
