// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Formatters/Parsing.hpp"

#include <iostream>

#include "Tessaly/Core/Formatters/PercentFormatStyle.hpp"

namespace Tessaly {

void showParsing() {
  PercentFormatStyle percent;
  auto typed = percent.parse("57");                   // 0.57
  auto exact = percent.parse("57", Parsing::strict);  // Absent, because the style writes "57%".
  std::cout << typed.has_value() << exact.has_value();
}

}  // namespace Tessaly
