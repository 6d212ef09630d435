// SPDX-License-Identifier: MIT
#include <iostream>

#include "Tessaly/Core/Formatters/ByteCountFormatStyle.hpp"
#include "Tessaly/Core/Formatters/CurrencyFormatStyle.hpp"
#include "Tessaly/Formatting/FormattingService+Styles.hpp"

namespace Tessaly {

void showFormattingServiceStyles() {
  FormattingService::setLanguage("de");
  std::cout << FormattingService::format(CurrencyFormatStyle("EUR"), 9.99);   // 9,99 €
  std::cout << FormattingService::format(ByteCountFormatStyle(), 1'500'000);  // 1,5 MB
}

}  // namespace Tessaly
