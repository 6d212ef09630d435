// SPDX-License-Identifier: MIT
#pragma once

#include <vector>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Foundation/PropertyList.hpp"
#include "Tessaly/Platform/Settings/SettingDescription.hpp"

namespace Tessaly::inline v1::detail {

/// The contents of a `Keys.plist` file: a dictionary of the descriptions by name.
[[nodiscard]] TESSALY_EXPORT PropertyList propertyListOf(const std::vector<SettingDescription>& keys);
/// The descriptions in such a dictionary, sorted by name. Skips an entry whose type is missing or unknown. Empty if the
/// list is not a dictionary.
[[nodiscard]] TESSALY_EXPORT std::vector<SettingDescription> descriptionsIn(const PropertyList& list);

}  // namespace Tessaly::inline v1::detail
