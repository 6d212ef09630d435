// SPDX-License-Identifier: MIT
#include <memory>

#include "Harness.hpp"
#include "Tessaly/Platform/Network/NWPathMonitor.hpp"
#include "Tessaly/SystemServices/ReachabilityService.hpp"
#include "peers/NetworkPeers.hpp"

namespace Tessaly::Benchmarks {
namespace {

/// Ours also reads the setting from a store. The peers have no setting, so theirs is the bare state.
const Facility reachability("Reachability", [](Facility& facility) {
  facility.row("is it online?")
      .ours([] { return ReachabilityService::isOnline(); })
      .peer("GNetworkMonitor", [] { return isOnlineByGLib(); })
      .peer("QNetworkInformation", [] { return isOnlineByQt(); })
      .bar(50);
  facility.row("is it expensive?")
      .ours([] { return ReachabilityService::isExpensive(); })
      .peer("GNetworkMonitor", [] { return isMeteredByGLib(); })
      .peer("QNetworkInformation", [] { return isMeteredByQt(); })
      .bar(50);
  facility.row("the path alone")
      .ours([monitor = NWPathMonitor::make()] { return monitor->currentPath().parts().status; })
      .peer("GNetworkMonitor", [] { return isOnlineByGLib(); });
});

}  // namespace
}  // namespace Tessaly::Benchmarks
