// expected: call to deleted function 'clamped'
// SPDX-License-Identifier: MIT
#include "Tessaly/FoundationExtensions/Comparable+Clamped.hpp"

double limited(double value) {
#ifdef ALLOWED
  return Tessaly::clamped(value, Tessaly::ClosedRange(0.0, 100.0));
#else
  return Tessaly::clamped(value, Tessaly::ClosedRange(0, 100));
#endif
}
