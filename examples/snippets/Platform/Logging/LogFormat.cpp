// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Logging/LogFormat.hpp"

#include <string>

#include "Tessaly/Platform/Logging/Logger.hpp"

namespace Tessaly {

void reportOpening(const Logger& logger, const std::string& fileName, int status) {
  logger.error("Cannot open %{public}s (%d)", fileName, status);
}

}  // namespace Tessaly
