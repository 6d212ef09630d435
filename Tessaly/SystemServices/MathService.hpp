// SPDX-License-Identifier: MIT
// Component: Tessaly::SystemServices
#pragma once

#include "Tessaly/Core/Base/Export.hpp"

/// Interpolation between known values.
namespace Tessaly::inline v1::MathService::Interpolation {

/// The y at `x` on the line through (x0, y0) and (x1, y1). Beyond these points the line is extrapolated. The result is
/// infinite or NaN if x0 and x1 are equal. Because of rounding, the results at x0 and x1 may differ from y0 and y1.
/// `std::lerp` takes a fraction instead of x, and is exact at both ends.
///
/// Every operation is rounded separately, so the results are the same on every processor.
///
/// Thread contract: thread-safe.
///
///     double level = MathService::Interpolation::linear(5, 0, 0, 10, 100);  // 50
[[nodiscard]] TESSALY_EXPORT double linear(double x, double x0, double y0, double x1, double y1) noexcept;

}  // namespace Tessaly::inline v1::MathService::Interpolation
