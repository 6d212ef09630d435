// expected: static assertion failed.*the body must not hand the element out by reference
// SPDX-License-Identifier: MIT
#include "Tessaly/Collections/RingArray.hpp"

int increment(Tessaly::RingArray<int>& ring) {
#ifdef ALLOWED
  return ring.modify(0, [](int& element) { return ++element; });
#else
  return ring.modify(0, [](int& element) -> int& { return ++element; });
#endif
}
