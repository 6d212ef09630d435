// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Formatters/DateIntervalFormatStyle.hpp"

#include <iostream>

namespace Tessaly {

void showDateIntervalFormatStyle() {
  auto style = DateIntervalFormatStyle().locale(Locale("en")).timeZone(TimeZone::gmt());
  Date start = Date::since1970(1'672'671'845);
  std::cout << style.format(start, start + 3 * 86'400.0);  // Jan 2 – 5, 2023
}

}  // namespace Tessaly
