// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Text/Collator.hpp"

#include <algorithm>
#include <string>
#include <vector>

namespace Tessaly {

void showCollator() {
  std::vector<std::string> names{"file 10", "Éclair", "file 2", "zebra"};
  std::ranges::sort(names, Collator(Locale("fr")));  // Éclair, file 2, file 10, zebra
}

}  // namespace Tessaly
