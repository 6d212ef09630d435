// SPDX-License-Identifier: MIT
#include "Tessaly/Collections/RingArrayIndex.hpp"

namespace Tessaly {

void showRingArrayIndex() {
  RingArrayIndex last{2, 0};
  RingArrayIndex next{0, 1};  // One further in a ring of three slots: last < next.
}

}  // namespace Tessaly
