// SPDX-License-Identifier: MIT
// Component: Tessaly::FoundationExtensions
#pragma once

#include <string_view>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Logging/OSLog.hpp"
#include "Tessaly/Core/Logging/OSSignposter.hpp"  // IWYU pragma: export

namespace Tessaly::inline v1 {

/// The definition of `OSLog::pointOfInterest`.
struct detail::PointOfInterest {
  [[nodiscard]] TESSALY_EXPORT static OSLog make(std::string_view subsystem);
};

}  // namespace Tessaly::inline v1
