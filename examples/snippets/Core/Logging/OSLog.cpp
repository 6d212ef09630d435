// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Logging/OSLog.hpp"

namespace Tessaly {

void dumpIfWanted(void (*dumpTables)()) {
  const OSLog log("app.identifier.Export", "Exporter");
  if (log.isEnabled(OSLogType::debug)) dumpTables();
}

}  // namespace Tessaly
