// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Foundation/UTType.hpp"

namespace Tessaly::inline v1::detail {

/// The type of an extension. Stops the process if no conforming type has the extension.
[[nodiscard]] TESSALY_EXPORT UTType requiredType(std::string_view extension, const UTType& conformingTo);

}  // namespace Tessaly::inline v1::detail
