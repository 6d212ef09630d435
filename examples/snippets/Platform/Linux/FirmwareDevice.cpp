// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Linux/FirmwareDevice.hpp"

namespace Tessaly {

void lookElsewhere() {
  FirmwareDevice device("/sysroot");
  if (device.source() == DeviceSource::none) return;
}

}  // namespace Tessaly
