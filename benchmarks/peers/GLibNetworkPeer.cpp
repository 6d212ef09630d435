// SPDX-License-Identifier: MIT
#include <gio/gio.h>

#include "NetworkPeers.hpp"

namespace Tessaly::Benchmarks {
namespace {

GNetworkMonitor* monitor() {
  static GNetworkMonitor* const shared = g_network_monitor_get_default();
  return shared;
}

}  // namespace

bool isOnlineByGLib() { return g_network_monitor_get_network_available(monitor()) != FALSE; }

bool isMeteredByGLib() { return g_network_monitor_get_network_metered(monitor()) != FALSE; }

}  // namespace Tessaly::Benchmarks
