// SPDX-License-Identifier: MIT
#include "Tessaly/SystemServices/DeviceService.hpp"

#include <iostream>

namespace Tessaly {

void tellTheModel(std::ostream& log) {
  std::cout << "Running on " << DeviceService::deviceName() << '\n';
  log.flush();
}

}  // namespace Tessaly
