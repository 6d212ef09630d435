// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Formatters/PluralRules.hpp"

#include <iostream>

namespace Tessaly {

void showPluralRules() {
  PluralRules rules(PluralRules::Kind::cardinal, Locale("en"));
  bool isOneFile = rules.category(1) == PluralRules::Category::one;         // true
  bool isRoundHalf = rules.category(1.0, 1) == PluralRules::Category::one;  // false: "1.0 files"
}

}  // namespace Tessaly
