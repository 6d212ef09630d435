// expected: the body must not suspend: the value is stored when it returns
// SPDX-License-Identifier: MIT
#include "Tessaly/SettingsAndObservation/Default.hpp"

template <>
class Tessaly::Async<int> {};

void suspend(Tessaly::Default<int>& volume) {
#ifdef ALLOWED
  volume.modifyValue([](int& value) { return value; });
#else
  volume.modifyValue([](int&) { return Tessaly::Async<int>(); });
#endif
}
