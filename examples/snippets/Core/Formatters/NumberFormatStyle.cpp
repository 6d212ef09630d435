// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Formatters/NumberFormatStyle.hpp"

#include <iostream>

namespace Tessaly {

void showNumberFormatStyle() {
  auto style = NumberFormatStyle().locale(Locale("de"));
  std::cout << style.format(1'234'567.891);                // 1.234.567,891
  std::cout << style.fractionDigits(2).format(1'234.5);    // 1.234,50
  std::cout << style.fractionDigits(0).formatRange(3, 5);  // 3–5
}

}  // namespace Tessaly
