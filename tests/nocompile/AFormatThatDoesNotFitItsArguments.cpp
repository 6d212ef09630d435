// expected: call to consteval function
// SPDX-License-Identifier: MIT
#include <string>

#include "Tessaly/Core/Logging/Logger.hpp"

void report(const Tessaly::Logger& logger, const std::string& name) {
#ifdef ALLOWED
  logger.error("Cannot open %{public}s", name);
#else
  logger.error("Cannot open %d", name);
#endif
}
