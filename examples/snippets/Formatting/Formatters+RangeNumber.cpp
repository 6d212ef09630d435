// SPDX-License-Identifier: MIT
#include <iostream>

#include "Tessaly/Formatting/Formatters+RangeNumber.hpp"

namespace Tessaly {

void showRangeNumber() {
  auto level = Formatters::RangeNumber<int>::make(ClosedRange(0, 100));
  std::optional<std::string> replacement;
  bool isValid = level->isPartialStringValid("150", &replacement);  // false, and the replacement is "100"
}

}  // namespace Tessaly
