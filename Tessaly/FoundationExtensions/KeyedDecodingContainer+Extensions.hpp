// SPDX-License-Identifier: MIT
// Component: Tessaly::FoundationExtensions
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Foundation/JSONCoding.hpp"

namespace Tessaly::inline v1 {

/// A text that the data gives either as a map by language, under one key, or plainly, under another.
///
/// Of a map it is the text in the first of the main bundle's preferred localisations if that is a key, else in "en",
/// else it is empty. Without a map, or with one that does not decode, it is the text under `fallbackKey`, or empty
/// where there is no such key. Throws the `DecodingError` of the fallback's text only. Stops the process when the
/// bundle prefers no localisation.
///
/// Thread contract: thread-safe.
[[nodiscard]] TESSALY_EXPORT std::string decodeLocalizedValue(const KeyedDecodingContainer& container,
                                                              std::string_view forLocalizedValueKey,
                                                              std::optional<std::string_view> fallbackKey);

}  // namespace Tessaly::inline v1
