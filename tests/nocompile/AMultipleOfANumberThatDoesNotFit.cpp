// expected: no matching function for call to 'nearestMultiple'
// SPDX-License-Identifier: MIT
#include "Tessaly/FoundationExtensions/Int+Multiples.hpp"

std::int64_t rounded(std::uint64_t value) {
#ifdef ALLOWED
  return Tessaly::Int::nearestMultiple(static_cast<std::int64_t>(value), 4);
#else
  return Tessaly::Int::nearestMultiple(value, 4);
#endif
}
