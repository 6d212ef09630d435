// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Formatters/CurrencyFormatStyle.hpp"

#include <iostream>

namespace Tessaly {

void showCurrencyFormatStyle() {
  auto price = CurrencyFormatStyle("EUR").locale(Locale("de"));
  std::cout << price.format(1'234.5);                                    // 1.234,50 €
  std::cout << price.width(CurrencyFormatStyle::Width::wide).format(2);  // 2,00 Euro
  auto dollars = CurrencyFormatStyle("USD").locale(Locale("en"));
  std::cout << dollars.sign(CurrencyFormatStyle::Sign::accounting).format(-5);  // ($5.00)
}

}  // namespace Tessaly
