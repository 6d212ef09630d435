// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Formatters/FormatStyle.hpp"

#include <iostream>

namespace Tessaly {

void showFormatStyle() {
  auto style = Date::FormatStyle().day(Date::FormatStyle::Field::digits).month(Date::FormatStyle::Month::wide);
  std::cout << style.locale(Locale("en")).format(Date::now());  // November 21
}

}  // namespace Tessaly
