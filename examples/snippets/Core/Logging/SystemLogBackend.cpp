// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Logging/SystemLogBackend.hpp"

using namespace Tessaly;

void writeToTheSystem(const LogRecord& record) {
  LogBackend& backend = SystemLogBackend::shared();
  backend.write(record);
}
