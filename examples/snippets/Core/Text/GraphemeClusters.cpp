// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Text/GraphemeClusters.hpp"

#include <iostream>

namespace Tessaly::Text {

void showGraphemeClusters() {
  for (std::string_view character : GraphemeClusters("né🇫🇷")) std::cout << character.size() << ' ';  // 1 2 8
}

}  // namespace Tessaly::Text
