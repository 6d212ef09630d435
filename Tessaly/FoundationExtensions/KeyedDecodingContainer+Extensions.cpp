// SPDX-License-Identifier: MIT
#include <map>
#include <vector>

#include "Tessaly/Core/Base/FatalError.hpp"
#include "Tessaly/Core/Foundation/Bundle.hpp"
#include "Tessaly/FoundationExtensions/KeyedDecodingContainer+Extensions.hpp"

namespace Tessaly::inline v1 {

std::string decodeLocalizedValue(const KeyedDecodingContainer& container, std::string_view forLocalizedValueKey,
                                 std::optional<std::string_view> fallbackKey) {
  std::optional<std::map<std::string, std::string>> map;
  try {
    map = container.decodeStringMap(forLocalizedValueKey);
  } catch (const DecodingError&) {
    map = std::nullopt;
  }
  const std::vector<std::string> preferred = Bundle::main().preferredLocalizations();
  if (preferred.empty()) {
    fatalError("The main bundle prefers no localization", "Tessaly/KeyedDecodingContainer+Extensions", __LINE__);
  }
  if (!map) return fallbackKey ? container.decodeString(*fallbackKey) : "";
  const auto found = map->find(map->contains(preferred.front()) ? preferred.front() : "en");
  return found != map->end() ? found->second : "";
}

}  // namespace Tessaly::inline v1
