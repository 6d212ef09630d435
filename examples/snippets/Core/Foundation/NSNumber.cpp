// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Foundation/NSNumber.hpp"

#include <iostream>

namespace Tessaly {

void showNumber() {
  NSNumber volume(50);
  std::cout << volume.doubleValue() << ' ' << (volume == NSNumber(50.0)) << '\n';  // 50 1
}

}  // namespace Tessaly
