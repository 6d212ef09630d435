// SPDX-License-Identifier: MIT
#include "Tessaly/SystemServices/MathService.hpp"

namespace Tessaly {

void fade() {
  double level = MathService::Interpolation::linear(5, 0, 0, 10, 100);  // 50
}

}  // namespace Tessaly
