// expected: read-only variable is not assignable
// SPDX-License-Identifier: MIT
#include "Tessaly/Collections/RingArray.hpp"

void overwrite(Tessaly::RingArray<int>& ring) {
#ifdef ALLOWED
  ring.set(0, 1);
#else
  *ring.begin() = 1;
#endif
}
