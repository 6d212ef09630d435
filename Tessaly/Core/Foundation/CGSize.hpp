// SPDX-License-Identifier: MIT
// Component: Tessaly::Foundation
#pragma once

#include "Tessaly/Core/Base/Requirements.hpp"

namespace Tessaly::inline v1 {

/// The floating-point type of geometry.
using CGFloat = double;

/// A width and a height, in any unit. Both may be negative.
struct CGSize {
  CGFloat width = 0;
  CGFloat height = 0;

  friend bool operator==(const CGSize&, const CGSize&) noexcept = default;
};

}  // namespace Tessaly::inline v1
