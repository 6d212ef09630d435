// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Foundation/CopyOnWrite.hpp"

#include <vector>

namespace Tessaly {

void showCopyOnWrite() {
  CopyOnWrite<std::vector<int>> numbers(std::vector{1, 2});
  CopyOnWrite<std::vector<int>> before = numbers;
  numbers.modify().push_back(3);
  // before.read() is still {1, 2}.
}

}  // namespace Tessaly
