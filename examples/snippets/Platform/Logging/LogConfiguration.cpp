// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Logging/LogConfiguration.hpp"

namespace Tessaly {

void showEverything() {
  LogConfiguration::setEnabled(OSLogType::debug, LogSwitch::on);
  LogConfiguration::setStandardErrorOutput(LogSwitch::on);
}

}  // namespace Tessaly
