// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Device/DeviceBackend.hpp"

namespace Tessaly {

void askForTheModel() {
  std::size_t size = 0;
  if (DeviceBackend::current().sysctlbyname("hw.model", nullptr, &size) != 0) return;
}

}  // namespace Tessaly
