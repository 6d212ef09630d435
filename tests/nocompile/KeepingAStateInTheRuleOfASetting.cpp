// expected: no matching member function for call to 'where'
// SPDX-License-Identifier: MIT
#include "Tessaly/SettingsAndObservation/Default.hpp"

bool isAllowed(int divisor) {
#ifdef ALLOWED
  const auto key = Tessaly::Default<int>::Key("size", 0).where([](int size) { return size % 512 == 0; });
#else
  const auto key = Tessaly::Default<int>::Key("size", 0).where([=](int size) { return size % divisor == 0; });
#endif
  return key.allows(divisor);
}
