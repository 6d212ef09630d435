// SPDX-License-Identifier: MIT
// Component: Tessaly::FoundationExtensions
#pragma once

#include <cstdint>

#include "Tessaly/Core/Foundation/IndexPath.hpp"

namespace Tessaly::inline v1 {

/// The item number of a path, by the name that tables have for it. Stops the process when the path is shorter.
///
/// Thread contract: thread-safe.
[[nodiscard]] inline std::int64_t row(const IndexPath& path) noexcept { return path.item(); }

}  // namespace Tessaly::inline v1
