// SPDX-License-Identifier: MIT
#pragma once

#include <vector>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Foundation/PropertyList.hpp"
#include "Tessaly/Platform/Settings/SettingDescription.hpp"

namespace Tessaly::inline v1::detail {

/// The contents of a `Keys.plist`: a dictionary by name.
[[nodiscard]] TESSALY_EXPORT PropertyList propertyListOf(const std::vector<SettingDescription>& keys);
/// The descriptions, by name. Leaves out malformed ones.
[[nodiscard]] TESSALY_EXPORT std::vector<SettingDescription> descriptionsIn(const PropertyList& list);

}  // namespace Tessaly::inline v1::detail
