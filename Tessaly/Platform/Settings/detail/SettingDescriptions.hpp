// SPDX-License-Identifier: MIT
#pragma once

#include <vector>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Foundation/PropertyList.hpp"
#include "Tessaly/Platform/Settings/SettingDescription.hpp"

namespace Tessaly::inline v1::detail {

/// Returns the contents of a `Keys.plist` file: a dictionary from the name of each setting to its description. Does not
/// write a file.
[[nodiscard]] TESSALY_EXPORT PropertyList propertyListOf(const std::vector<SettingDescription>& keys);
/// Returns the descriptions in the contents of a `Keys.plist` file, sorted by name. Skips an entry whose type is
/// missing or unknown. The result is empty if `list` is not a dictionary.
[[nodiscard]] TESSALY_EXPORT std::vector<SettingDescription> descriptionsIn(const PropertyList& list);

}  // namespace Tessaly::inline v1::detail
