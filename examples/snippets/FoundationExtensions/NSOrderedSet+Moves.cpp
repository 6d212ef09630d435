// SPDX-License-Identifier: MIT
#include "Tessaly/FoundationExtensions/NSOrderedSet+Moves.hpp"

namespace {

using namespace Tessaly;

void show() {
  const NSOrderedSet<std::string> rows{"A", "B", "C", "D", "E"};
  const auto moved = movingItems(rows, {1, 2}, 3, true);  // A, D, B, C, E
}

}  // namespace
