// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Formatters/DateFormatter.hpp"

#include <iostream>

namespace Tessaly {

void showDateFormatter() {
  DateFormatter formatter;
  formatter.setLocale(Locale("en_GB"));
  formatter.setTimeZone(TimeZone::gmt());
  formatter.setDateStyle(DateFormatter::Style::medium);
  std::cout << formatter.string(Date::since1970(0));  // 1 Jan 1970
}

}  // namespace Tessaly
