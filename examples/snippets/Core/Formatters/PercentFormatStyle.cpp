// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Formatters/PercentFormatStyle.hpp"

#include <iostream>

namespace Tessaly {

void showPercentFormatStyle() {
  auto style = PercentFormatStyle().locale(Locale("fr"));
  std::cout << style.format(0.5);                       // 50 %
  std::cout << style.fractionDigits(1).format(0.1234);  // 12,3 %
}

}  // namespace Tessaly
