// SPDX-License-Identifier: MIT
#include <iostream>

#include "Tessaly/Formatting/Formatters+CharactersLimit.hpp"

namespace Tessaly {

void showCharactersLimit() {
  auto limit = Formatters::CharactersLimit::make(3);
  bool fits = limit->isPartialStringValid("ab");  // true, and false for "abc"
}

}  // namespace Tessaly
