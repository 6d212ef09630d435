// expected: no viable overloaded '='
// SPDX-License-Identifier: MIT
#include <string>

#include "Tessaly/Core/Foundation/NSMutableOrderedSet.hpp"

void rename(Tessaly::NSMutableOrderedSet<std::string>& rows) {
#ifdef ALLOWED
  rows.removeObjectAt(0);
  rows.insert("B", 0);
#else
  rows.object(0) = "B";
#endif
}
