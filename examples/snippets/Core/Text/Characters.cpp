// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Text/Characters.hpp"

#include <iostream>

namespace Tessaly::Text {

void showGeneralCategory() {
  GeneralCategory category = generalCategory(U'€');
  if (category == GeneralCategory::currencySymbol) std::cout << category;  // Sc
}

}  // namespace Tessaly::Text
