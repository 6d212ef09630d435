// SPDX-License-Identifier: MIT
// Component: Tessaly::FoundationExtensions
#pragma once

#include "Tessaly/Core/Foundation/CGSize.hpp"
#include "Tessaly/FoundationExtensions/FloatingPoint+Approximation.hpp"

namespace Tessaly::inline v1 {

/// Whether both the widths and the heights are equal or differ by less than the tolerance.
///
/// Thread contract: thread-safe.
[[nodiscard]] inline bool isApproximatelyEqual(const CGSize& size, const CGSize& other, CGFloat tolerance) noexcept {
  return FloatingPoint::isApproximatelyEqual(size.width, other.width, tolerance) &&
         FloatingPoint::isApproximatelyEqual(size.height, other.height, tolerance);
}

}  // namespace Tessaly::inline v1
