// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Text/UTF8.hpp"

#include <iostream>

namespace Tessaly::Text {

void showDecodedScalar() {
  DecodedScalar euro = decodeScalar("€5", 0);
  // euro.scalar is U'€', euro.length is 3, euro.isWellFormed is true.
}

void showScalars() {
  for (char32_t scalar : Scalars("né")) std::cout << static_cast<std::uint32_t>(scalar) << ' ';  // 110 233
}

}  // namespace Tessaly::Text
