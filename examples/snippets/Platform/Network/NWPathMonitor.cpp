// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Network/NWPathMonitor.hpp"

#include <memory>

namespace Tessaly {

void showBanner(NWPath::Status status);

std::shared_ptr<NWPathMonitor> followThePath() {
  auto monitor = NWPathMonitor::make();
  monitor->setPathUpdateHandler([](const NWPath& path) { showBanner(path.status()); });
  monitor->start(OS_dispatch_queue::main());
  return monitor;
}

}  // namespace Tessaly
