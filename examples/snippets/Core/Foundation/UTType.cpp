// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Foundation/UTType.hpp"

#include <iostream>

namespace Tessaly {

void showUTType() {
  const std::optional<UTType> type = UTType::fromFilenameExtension("png");
  if (type && type->conformsTo(UTType::image())) std::cout << *type << '\n';  // public.png
}

}  // namespace Tessaly
