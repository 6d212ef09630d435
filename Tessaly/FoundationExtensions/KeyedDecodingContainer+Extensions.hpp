// SPDX-License-Identifier: MIT
// Component: Tessaly::FoundationExtensions
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Foundation/JSONCoding.hpp"

namespace Tessaly::inline v1 {

/// Decodes a text. Under `forLocalizedValueKey`, the data may have a map from languages to texts. Under `fallbackKey`,
/// the data may have a plain text.
///
/// A map gives the text of the first preferred localisation of the main bundle, else the text of "en", else the empty
/// text. If the map is missing or malformed, the result is the text under `fallbackKey`, or the empty text if
/// `fallbackKey` is absent. Only the fallback throws a `DecodingError`. Stops the process if the bundle prefers no
/// localisation.
///
/// Thread contract: thread-safe.
[[nodiscard]] TESSALY_EXPORT std::string decodeLocalizedValue(const KeyedDecodingContainer& container,
                                                              std::string_view forLocalizedValueKey,
                                                              std::optional<std::string_view> fallbackKey);

}  // namespace Tessaly::inline v1
