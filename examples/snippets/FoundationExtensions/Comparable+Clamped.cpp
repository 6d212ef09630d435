// SPDX-License-Identifier: MIT
#include "Tessaly/FoundationExtensions/Comparable+Clamped.hpp"

namespace {

using namespace Tessaly;

void show() {
  const int volume = Comparable::clamped(112, ClosedRange(0, 100));  // 100
}

}  // namespace
