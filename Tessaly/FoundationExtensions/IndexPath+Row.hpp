// SPDX-License-Identifier: MIT
// Component: Tessaly::FoundationExtensions
#pragma once

#include <cstdint>

#include "Tessaly/Core/Foundation/IndexPath.hpp"

namespace Tessaly::inline v1 {

/// The item number of a path. In a table this number is called the row. Stops the process if the path has fewer than
/// two positions.
///
/// Thread contract: thread-safe.
[[nodiscard]] inline std::int64_t row(const IndexPath& path) noexcept { return path.item(); }

}  // namespace Tessaly::inline v1
