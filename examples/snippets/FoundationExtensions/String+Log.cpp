// SPDX-License-Identifier: MIT
#include <string>

#include "Tessaly/FoundationExtensions/String+Log.hpp"

namespace Tessaly {

void showOneLine() {
  const std::string line = String::log("a \n\n  b\tc");  // "a b c"
}

}  // namespace Tessaly
