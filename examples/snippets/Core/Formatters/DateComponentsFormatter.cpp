// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Formatters/DateComponentsFormatter.hpp"

#include <iostream>

namespace Tessaly {

void showDateComponentsFormatter() {
  DateComponentsFormatter formatter;
  formatter.setLocale(Locale("en"));
  formatter.setUnitsStyle(DateComponentsFormatter::UnitsStyle::full);
  std::cout << formatter.string(3720).value_or("");  // 1 hour, 2 minutes
}

}  // namespace Tessaly
