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
/// text. If the map is missing or malformed, the result is the text under `fallbackKey`. If the parameter `fallbackKey`
/// is absent, the result is then the empty text. Throws a `DecodingError` only if this fallback text is needed, and is
/// missing or malformed. Stops the process if the bundle prefers no localisation.
///
/// Thread contract: thread-safe.
[[nodiscard]] TESSALY_EXPORT std::string decodeLocalizedValue(const KeyedDecodingContainer& container,
                                                              std::string_view forLocalizedValueKey,
                                                              std::optional<std::string_view> fallbackKey);

}  // namespace Tessaly::inline v1
