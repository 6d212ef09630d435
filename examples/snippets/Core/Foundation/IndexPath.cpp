// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Foundation/IndexPath.hpp"

#include <iostream>

namespace Tessaly {

void showIndexPath() {
  const IndexPath path({.item = 3, .section = 1});
  std::cout << path << ' ' << path.item() << '\n';  // [1, 3] 3
}

}  // namespace Tessaly
