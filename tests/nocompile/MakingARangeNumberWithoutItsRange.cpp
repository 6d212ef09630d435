// expected: no matching constructor
// SPDX-License-Identifier: MIT
#include "Tessaly/Formatting/Formatters+RangeNumber.hpp"

#ifdef ALLOWED
Tessaly::Formatters::RangeNumber<int> level(Tessaly::ClosedRange(0, 100));
#else
Tessaly::Formatters::RangeNumber<int> level;
#endif
