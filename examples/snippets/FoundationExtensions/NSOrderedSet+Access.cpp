// SPDX-License-Identifier: MIT
#include "Tessaly/FoundationExtensions/NSOrderedSet+Access.hpp"

namespace {

using namespace Tessaly;

void show() {
  const NSOrderedSet<std::string> rows{"A", "B"};
  const std::string third = ifPresent(rows, 2).value_or("nothing");
}

}  // namespace
