// SPDX-License-Identifier: MIT
#include <iostream>

#include "Tessaly/Formatting/Formatters+NoEmojis.hpp"

namespace Tessaly {

void showNoEmojis() {
  auto plain = Formatters::NoEmojis::make(std::nullopt);
  std::any object;
  plain->getObjectValue(&object, "a😀b");
  std::cout << std::any_cast<std::string>(object);  // ab
}

}  // namespace Tessaly
