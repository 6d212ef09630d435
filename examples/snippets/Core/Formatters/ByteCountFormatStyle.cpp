// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Formatters/ByteCountFormatStyle.hpp"

#include <iostream>

namespace Tessaly {

void showByteCountFormatStyle() {
  ByteCountFormatStyle style;
  style.setLocale(Locale("fr"));
  std::cout << style.format(1'500'000);  // 1,5 Mo
}

}  // namespace Tessaly
