// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Foundation/ProcessInfo.hpp"

#include <iostream>

namespace Tessaly {

void showOperatingSystemVersion() {
  OperatingSystemVersion bookworm{.major = 12};
  std::cout << bookworm;  // 12.0.0
}

void showProcessInfo() {
  const ProcessInfo& process = ProcessInfo::processInfo();
  if (process.environmentValue("DISPLAY")) std::cout << process.processName() << '\n';
}

}  // namespace Tessaly
