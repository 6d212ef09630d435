// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Formatters/OrdinalFormatStyle.hpp"

#include <iostream>

namespace Tessaly {

void showOrdinalFormatStyle() {
  std::cout << OrdinalFormatStyle().locale(Locale("en")).format(22);  // 22nd
}

}  // namespace Tessaly
