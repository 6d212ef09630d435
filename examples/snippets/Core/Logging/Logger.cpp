// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Logging/Logger.hpp"

#include <string>

namespace Tessaly {

void reportWriting(const std::string& fileName, int status) {
  const Logger logger("app.identifier.Export", "Exporter");
  logger.error("Cannot write %{public}s: %d", fileName, status);
}

}  // namespace Tessaly
