// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Formatters/Measurement.hpp"

#include <iostream>

namespace Tessaly {

void showMeasurement() {
  Measurement marathon{42.195, Measurement::Unit::kilometer};
  double miles = marathon.converted(Measurement::Unit::mile).value;  // 26.2188
}

}  // namespace Tessaly
