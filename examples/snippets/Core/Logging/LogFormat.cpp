// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Logging/LogFormat.hpp"

#include <string>

#include "Tessaly/Core/Logging/Logger.hpp"

namespace Tessaly {

void reportOpening(const Logger& logger, const std::string& fileName, int status) {
  logger.error("Cannot open %{public}s (%d)", fileName, status);
}

}  // namespace Tessaly
