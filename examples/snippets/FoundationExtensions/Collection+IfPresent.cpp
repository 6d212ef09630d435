// SPDX-License-Identifier: MIT
#include <vector>

#include "Tessaly/FoundationExtensions/Collection+IfPresent.hpp"

namespace {

using namespace Tessaly;

void show() {
  const int third = Collection::ifPresent(std::vector{1, 2}, 2).value_or(0);  // 0
}

}  // namespace
