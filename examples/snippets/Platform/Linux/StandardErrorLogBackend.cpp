// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Linux/StandardErrorLogBackend.hpp"

namespace Tessaly {

void writeLine(StandardErrorLogBackend& output, const LogRecord& record) {
  output.set(LogSwitch::on);
  if (output.isOn()) output.write(record);
}

}  // namespace Tessaly
