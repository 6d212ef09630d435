// SPDX-License-Identifier: MIT
#include <string>

#include "Tessaly/FoundationExtensions/UTType+LocalizedDescription.hpp"

namespace Tessaly {

std::string showLocalizedDescription() {
  return
      // clang-format off
    localizedDescription(UTType::folder(), Locale("de"));  // Ordner
  // clang-format on
}

}  // namespace Tessaly
