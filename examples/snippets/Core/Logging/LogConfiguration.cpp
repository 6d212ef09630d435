// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Logging/LogConfiguration.hpp"

namespace Tessaly {

void showEverything() {
  LogConfiguration::setEnabled(OSLogType::debug, LogSwitch::on);
  LogConfiguration::setStandardErrorOutput(LogSwitch::on);
}

}  // namespace Tessaly
