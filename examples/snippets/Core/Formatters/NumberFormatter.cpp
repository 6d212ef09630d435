// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Formatters/NumberFormatter.hpp"

#include <iostream>

namespace Tessaly {

void showNumberFormatter() {
  NumberFormatter formatter;
  formatter.setLocale(Locale("de"));
  formatter.setMaximumFractionDigits(2);
  std::cout << formatter.string(1234.5678).value_or("");  // 1234,57
}

}  // namespace Tessaly
