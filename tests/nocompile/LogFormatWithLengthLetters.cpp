// expected: call to consteval function
// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Logging/Logger.hpp"

void report(const Tessaly::Logger& logger, unsigned long count) {
#ifdef ALLOWED
  logger.error("%d files", count);
#else
  logger.error("%lu files", count);
#endif
}
