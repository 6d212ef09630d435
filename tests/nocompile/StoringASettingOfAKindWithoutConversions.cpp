// expected: constraints not satisfied
// SPDX-License-Identifier: MIT
#include "Tessaly/SettingsAndObservation/Default.hpp"

struct Size {
#ifdef ALLOWED
  using StoredValue = std::vector<double>;
  static std::optional<Size> from(StoredValue stored) { return Size{stored[0], stored[1]}; }
  StoredValue transformToUserDefaultValue() const { return {width, height}; }
#endif
  double width;
  double height;
};

Size windowSize() { return Tessaly::Default<Size>::value({"window-size", Size{640, 480}}); }
