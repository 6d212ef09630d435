// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Foundation/NSMutableOrderedSet.hpp"

namespace {

using namespace Tessaly;

void show() {
  NSMutableOrderedSet<std::string> rows{"A", "B", "C"};
  rows.moveObjects({0, 1}, 1);  // C, A, B
}

}  // namespace
