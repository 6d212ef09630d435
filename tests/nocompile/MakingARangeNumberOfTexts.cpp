// expected: constraints not satisfied
// SPDX-License-Identifier: MIT
#include <string>

#include "Tessaly/Formatting/Formatters+RangeNumber.hpp"

#ifdef ALLOWED
using Bound = int;
#else
using Bound = std::string;
#endif

using Field = Tessaly::Formatters::RangeNumber<Bound>;
