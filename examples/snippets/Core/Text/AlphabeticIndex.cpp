// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Text/AlphabeticIndex.hpp"

#include <string>

namespace Tessaly {

void showAlphabeticIndex() {
  const AlphabeticIndex index(Locale("sv"));
  const std::string& label = index.labels()[index.section("Örebro")];  // Ö
}

}  // namespace Tessaly
