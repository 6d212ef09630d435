// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Text/NSMutableAttributedString.hpp"

namespace {

using namespace Tessaly;

void show() {
  NSMutableAttributedString text("Hello, world");
  text.addAttributes({{"weight", 700}}, {.location = 7, .length = 5});
  const int weight = std::any_cast<int>(text.attributes(8).at("weight"));
}

}  // namespace
