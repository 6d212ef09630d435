// expected: constraints not satisfied
// SPDX-License-Identifier: MIT
#include "Tessaly/Formatting/Formatters+RangeNumber.hpp"

#ifdef ALLOWED
using Bound = signed char;
#else
using Bound = char;
#endif

const auto field = Tessaly::Formatters::RangeNumber<Bound>::make(Tessaly::ClosedRange(Bound{0}, Bound{9}));
