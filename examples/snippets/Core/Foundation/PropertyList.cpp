// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Foundation/PropertyList.hpp"

#include <iostream>

namespace Tessaly {

void showPropertyList() {
  PropertyList window(PropertyList::Dictionary{{"title", "Untitled"}, {"columns", PropertyList::Array{80, 132}}});
  const PropertyList* title = window.find("title");
  if (title != nullptr && title->text() != nullptr) std::cout << *title->text() << '\n';  // Untitled
}

}  // namespace Tessaly
