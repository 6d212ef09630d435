// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Formatters/RelativeDateFormatStyle.hpp"

#include <iostream>

namespace Tessaly {

void showRelativeDateFormatStyle() {
  auto style = RelativeDateFormatStyle().locale(Locale("en"));
  Date now = Date::now();
  std::cout << style.format(now - 300, now);                         // 5 minutes ago
  std::cout << style.format(3, RelativeDateFormatStyle::Unit::day);  // in 3 days
  auto named = style.presentation(RelativeDateFormatStyle::Presentation::named);
  std::cout << named.format(-1, RelativeDateFormatStyle::Unit::day);  // yesterday
}

}  // namespace Tessaly
