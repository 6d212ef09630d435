// expected: private
// SPDX-License-Identifier: MIT
#include "Tessaly/SettingsAndObservation/UserDefaultsValue.hpp"

struct Size {
  double width;
  double height;
};

#ifndef ALLOWED
template <>
struct Tessaly::UserDefaultsValueTraits<Size> {
  static constexpr UserDefaultValueIdentification<Size> identification{};
};
#endif
