// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Formatters/MeasurementFormatStyle.hpp"

#include <iostream>

namespace Tessaly {

void showMeasurementFormatStyle() {
  auto style = MeasurementFormatStyle().locale(Locale("en_US"));
  std::cout << style.format({12, Quantity::Unit::kilometer});  // 7.5 mi
  auto metric = style.system(MeasurementSystem::metric);
  std::cout << metric.format({0.4, Quantity::Unit::kilometer});  // 400 m
}

}  // namespace Tessaly
