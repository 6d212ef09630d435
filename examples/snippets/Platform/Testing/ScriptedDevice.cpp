// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Testing/ScriptedDevice.hpp"

#include <memory>

namespace Tessaly {

void installADevice() {
  const auto device = std::make_shared<ScriptedDevice>();
  device->values["hw.model"] = "Workstation 7";
  const DeviceBackendInstallation installation(device);
}

}  // namespace Tessaly
