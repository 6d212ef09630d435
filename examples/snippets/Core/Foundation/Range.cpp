// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Foundation/Range.hpp"

namespace {

using namespace Tessaly;

void show() {
  const Range seconds(1.5, 4.0);
  const bool isLate = !seconds.contains(4.0);
}

void showClosed() {
  const ClosedRange percents(0, 100);
  const bool isPercent = percents.contains(100);
}

}  // namespace
