// expected: call to consteval function
// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Logging/Logger.hpp"

void report(const Tessaly::Logger& logger) {
#ifdef ALLOWED
  logger.error("%d of %d", 1, 2);
#else
  logger.error("%d of %d", 1);
#endif
}
