// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Text/UTF8.hpp"

#include <iostream>

namespace Tessaly::Text {

void showScalars() {
  for (char32_t scalar : Scalars("né")) std::cout << static_cast<std::uint32_t>(scalar) << ' ';  // 110 233
}

}  // namespace Tessaly::Text
