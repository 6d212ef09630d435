// expected: the body must not hand the value out by reference
// SPDX-License-Identifier: MIT
#include <string>

#include "Tessaly/SettingsAndObservation/Default.hpp"

void leak(Tessaly::Default<std::string>& title) {
#ifdef ALLOWED
  const std::string copy = title.modifyValue([](std::string& value) { return value; });
#else
  const std::string& leaked = title.modifyValue([](std::string& value) -> std::string& { return value; });
#endif
}
