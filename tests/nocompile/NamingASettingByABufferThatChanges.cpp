// expected: call to consteval function
// SPDX-License-Identifier: MIT
#include "Tessaly/SettingsAndObservation/Default.hpp"

int volume() {
  static char name[] = "volume";
#ifdef ALLOWED
  return Tessaly::Default<int>::value({std::string_view(name), 50});
#else
  return Tessaly::Default<int>::value({name, 50});
#endif
}
