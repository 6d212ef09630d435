// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Formatters/ISO8601DateFormatter.hpp"

#include <iostream>

namespace Tessaly {

void showISO8601DateFormatter() {
  ISO8601DateFormatter formatter;
  std::cout << formatter.string(Date::since1970(0));  // 1970-01-01T00:00:00Z
}

}  // namespace Tessaly
