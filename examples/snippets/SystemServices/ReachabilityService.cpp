// SPDX-License-Identifier: MIT
#include "Tessaly/SystemServices/ReachabilityService.hpp"

namespace Tessaly {

void fetchPreviews();

void whenThereIsTime() {
  if (ReachabilityService::isOnline() && !ReachabilityService::isExpensive()) fetchPreviews();
}

}  // namespace Tessaly
