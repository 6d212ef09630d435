// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Foundation/UTType.hpp"

namespace Tessaly::inline v1::detail {

/// The type of a file name extension, as `UTType::fromFilenameExtension` gives it. Stops the process if that function
/// gives no type.
[[nodiscard]] TESSALY_EXPORT UTType requiredType(std::string_view extension, const UTType& conformingTo);

}  // namespace Tessaly::inline v1::detail
