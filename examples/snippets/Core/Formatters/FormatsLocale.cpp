// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Formatters/FormatsLocale.hpp"

#include <iostream>

#include "Tessaly/Core/Formatters/NumberFormatStyle.hpp"

namespace Tessaly {

void showFormatsLocale() {
  auto style = NumberFormatStyle().locale(FormatsLocale::numeric());
  std::cout << style.format(0.5);  // 0,5 with LC_NUMERIC=de_DE.UTF-8
}

}  // namespace Tessaly
