// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Formatters/DurationFormatStyle.hpp"

#include <iostream>

namespace Tessaly {

void showDurationFormatStyle() {
  auto style = DurationFormatStyle().locale(Locale("en"));
  std::cout << style.format(93'784);                      // 1 day, 2 hours, 3 minutes, 4 seconds
  std::cout << style.maximumUnitCount(2).format(93'784);  // 1 day, 2 hours
}

}  // namespace Tessaly
