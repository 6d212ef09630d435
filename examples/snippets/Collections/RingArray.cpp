// SPDX-License-Identifier: MIT
#include "Tessaly/Collections/RingArray.hpp"

namespace Tessaly {

void showRingArray() {
  RingArray<int> history(3);
  for (int reading : {1, 2, 3}) history.append(reading);
  std::optional<int> dropped = history.append(4);  // 1, and the ring reads [2, 3, 4].
  int latest = history[history.count() - 1];
}

}  // namespace Tessaly
