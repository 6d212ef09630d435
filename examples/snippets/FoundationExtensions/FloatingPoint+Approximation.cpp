// SPDX-License-Identifier: MIT
#include "Tessaly/FoundationExtensions/FloatingPoint+Approximation.hpp"

namespace {

using namespace Tessaly;

void show() {
  const bool isSame = FloatingPoint::isApproximatelyEqual(100'000.0, 100'000.9);  // true
}

}  // namespace
