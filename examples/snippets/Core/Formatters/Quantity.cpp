// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Formatters/Quantity.hpp"

#include <iostream>

namespace Tessaly {

void showMeasurement() {
  Quantity marathon{42.195, Quantity::Unit::kilometer};
  double miles = marathon.converted(Quantity::Unit::mile).value;  // 26.2188
}

}  // namespace Tessaly
