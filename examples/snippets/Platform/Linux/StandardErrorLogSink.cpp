// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Linux/StandardErrorLogSink.hpp"

namespace Tessaly {

void writeLine(StandardErrorLogSink& output, const LogRecord& record) {
  output.set(LogSwitch::on);
  if (output.isOn()) output.write(record);
}

}  // namespace Tessaly
