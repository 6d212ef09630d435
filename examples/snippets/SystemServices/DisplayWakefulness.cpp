// SPDX-License-Identifier: MIT
#include "Tessaly/SystemServices/DisplayWakefulness.hpp"

#include <string>
#include <vector>

namespace Tessaly {

Async<void> compare(std::vector<std::string> files);

Async<void> showDisplayWakefulness(std::vector<std::string> files) {
  const DisplayWakefulness awake("Comparing files");
  co_await compare(files);
}

}  // namespace Tessaly
