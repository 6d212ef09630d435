// SPDX-License-Identifier: MIT
#include "Tessaly/SystemServices/MathService.hpp"

namespace Tessaly::inline v1::MathService::Interpolation {

double linear(double x, double x0, double y0, double x1, double y1) noexcept {
  const double slope = (y1 - y0) / (x1 - x0);
  return x * slope + (y0 - x0 * slope);
}

}  // namespace Tessaly::inline v1::MathService::Interpolation
