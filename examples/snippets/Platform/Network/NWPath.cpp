// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Network/NWPath.hpp"

#include <memory>

#include "Tessaly/Platform/Network/NWPathMonitor.hpp"

namespace Tessaly {

void fetchPreviews();

void fetchPreviewsIfThatIsCheap(const std::shared_ptr<NWPathMonitor>& monitor) {
  const NWPath path = monitor->currentPath();
  if (path.status() == NWPath::Status::satisfied && !path.isExpensive()) fetchPreviews();
}

}  // namespace Tessaly
