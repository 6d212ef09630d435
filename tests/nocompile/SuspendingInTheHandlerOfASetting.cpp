// expected: the handler must not suspend: no code would await it
// SPDX-License-Identifier: MIT
#include "Tessaly/SettingsAndObservation/Default.hpp"

template <>
class Tessaly::Async<int> {};

auto observe(const Tessaly::Default<int>::Key& key) {
#ifdef ALLOWED
  return Tessaly::Default<int>::observe(key, [](int) {});
#else
  return Tessaly::Default<int>::observe(key, [](int) { return Tessaly::Async<int>(); });
#endif
}
