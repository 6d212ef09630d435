// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Text/StringTransform.hpp"

namespace {

using namespace Tessaly;

void show() {
  const std::optional<std::string> name = Text::transformed("Ελληνικά", "Any-Latin");  // Ellēniká
}

}  // namespace
