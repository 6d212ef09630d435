// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Foundation/NSOrderedSet.hpp"

namespace {

using namespace Tessaly;

void show() {
  const NSOrderedSet<std::string> rows{"A", "B", "C", "A"};
  const bool isThere = rows.contains("C") && rows.count() == 3;
}

}  // namespace
