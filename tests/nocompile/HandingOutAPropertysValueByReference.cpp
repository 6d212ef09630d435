// expected: the body must not hand the value out by reference
// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Observation/Property.hpp"

int modify(Tessaly::Property<int>& volume) {
#ifdef ALLOWED
  return volume.modify([](int& value) { return value; });
#else
  return volume.modify([](int& value) -> int& { return value; });
#endif
}
