// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Formatters/ListFormatStyle.hpp"

#include <iostream>

namespace Tessaly {

void showListFormatStyle() {
  auto style = ListFormatStyle().locale(Locale("en"));
  std::cout << style.format({"A", "B", "C"});                                    // A, B, and C
  std::cout << style.type(ListFormatStyle::Type::or_).format({"red", "green"});  // red or green
}

}  // namespace Tessaly
