// expected: cannot assign to return value because function 'operator\[\]' returns a const value
// SPDX-License-Identifier: MIT
#include "Tessaly/Collections/RingArray.hpp"

void overwrite(Tessaly::RingArray<int>& ring) {
#ifdef ALLOWED
  ring.modify(0, [](int& element) { element = 1; });
#else
  ring[0] = 1;
#endif
}
