// SPDX-License-Identifier: MIT

// Measures the delay between a change of the network and its notification, beside GLib's GNetworkMonitor and Qt's
// QNetworkInformation. The latter uses GLib's monitor here. The program unplugs cables and removes routes 1,000 times
// each, so it runs in a network namespace of its own:
//
//     unshare --user --net --map-root-user tessaly_network_latency

#include <arpa/inet.h>
#include <fmt/format.h>
#include <gio/gio.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <net/route.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <QCoreApplication>
#include <QNetworkInformation>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "Tessaly/Platform/Network/NWPathMonitor.hpp"

namespace {

using namespace Tessaly;
using Clock = std::chrono::steady_clock;

constexpr int changes = 1000;
constexpr auto patience = std::chrono::seconds(2);

void check(int result, const char* what) {
  if (result == 0) return;
  std::perror(what);
  std::exit(1);
}

int control() {
  static const int socket = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  return socket;
}

void setUp(const char* link, bool isUp) {
  ifreq request{};
  std::strncpy(request.ifr_name, link, IFNAMSIZ - 1);
  ::ioctl(control(), SIOCGIFFLAGS, &request);
  request.ifr_flags = static_cast<short>(isUp ? request.ifr_flags | IFF_UP : request.ifr_flags & ~IFF_UP);
  check(::ioctl(control(), SIOCSIFFLAGS, &request), link);
}

void setRoute(bool isThere) {
  rtentry route{};
  for (sockaddr* address : {&route.rt_dst, &route.rt_gateway, &route.rt_genmask}) address->sa_family = AF_INET;
  ::inet_pton(AF_INET, "10.1.0.2", &reinterpret_cast<sockaddr_in*>(&route.rt_gateway)->sin_addr);
  route.rt_flags = RTF_UP | RTF_GATEWAY;
  check(::ioctl(control(), isThere ? SIOCADDRT : SIOCDELRT, &route), "route");
}

/// The last notification and its time.
class Told {
 public:
  void tell(bool isOnline) {
    when_ = Clock::now();
    isOnline_.store(isOnline ? 1 : 0, std::memory_order_release);
    isOnline_.notify_all();
  }
  std::optional<Clock::time_point> waitFor(bool isOnline) {
    const auto limit = Clock::now() + patience;
    while (isOnline_.load(std::memory_order_acquire) != (isOnline ? 1 : 0)) {
      if (Clock::now() > limit) return std::nullopt;
      std::this_thread::sleep_for(std::chrono::microseconds(20));
    }
    return when_;
  }

 private:
  std::atomic<int> isOnline_{-1};
  Clock::time_point when_;
};

void measure(const char* what, const char* who, Told& told, const std::function<void(bool)>& change) {
  change(true);
  std::vector<double> microseconds;
  for (int i = 0; i < changes; ++i) {
    if (!told.waitFor(true)) break;
    const auto start = Clock::now();
    change(false);
    const auto end = told.waitFor(false);
    if (!end) break;
    microseconds.push_back(std::chrono::duration<double, std::micro>(*end - start).count());
    change(true);
  }
  if (static_cast<int>(microseconds.size()) < changes) {
    fmt::print("{:<16} {:<20} is not told of within 2 s, after {} times that it was\n", what, who, microseconds.size());
    return;
  }
  std::ranges::sort(microseconds);
  fmt::print("{:<16} {:<20} median {:8.1f} us   99 % {:8.1f} us   worst {:8.1f} us\n", what, who,
             microseconds[changes / 2], microseconds[changes * 99 / 100], microseconds.back());
}

void pullTheCable(bool isOnline) { setUp("right", isOnline); }

void measureBoth(const char* who, Told& told) {
  measure("carrier lost", who, told, pullTheCable);
  setUp("right", true);
  setRoute(false);
  measure("route removed", who, told, setRoute);
}

}  // namespace

int main() {
  if (std::system("ip link add name left type veth peer name right && ip address add 10.1.0.1/24 dev left && "
                  "ip link set left up && ip link set right up && ip route add default via 10.1.0.2") != 0) {
    fmt::print("This needs a network namespace in which it may do everything.\n");
    return 1;
  }
  Told ours;
  const auto monitor = NWPathMonitor::make();
  monitor->setPathUpdateHandler([&](const NWPath& path) { ours.tell(path.status() == NWPath::Status::satisfied); });
  monitor->start(OS_dispatch_queue::global());
  measureBoth("NWPathMonitor", ours);
  monitor->cancel();

  Told theirs;
  std::atomic<bool> isMeasured = false;
  std::thread loop([&] {
    GMainContext* const context = g_main_context_default();
    GNetworkMonitor* const peer = g_network_monitor_get_default();
    g_signal_connect(peer, "network-changed", G_CALLBACK(+[](GNetworkMonitor*, gboolean isAvailable, gpointer told) {
                       static_cast<Told*>(told)->tell(isAvailable != FALSE);
                     }),
                     &theirs);
    theirs.tell(g_network_monitor_get_network_available(peer) != FALSE);
    while (!isMeasured) g_main_context_iteration(context, TRUE);
  });
  measureBoth("GNetworkMonitor", theirs);
  // Qt's loop runs the same context.
  isMeasured = true;
  g_main_context_wakeup(nullptr);
  loop.join();

  Told qt;
  std::thread qtLoop([&] {
    int count = 1;
    char name[] = "tessaly_network_latency";
    char* arguments[] = {name, nullptr};
    QCoreApplication application(count, arguments);
    if (!QNetworkInformation::loadBackendByFeatures(QNetworkInformation::Feature::Reachability)) return;
    const auto tell = [&](QNetworkInformation::Reachability reachability) {
      qt.tell(reachability == QNetworkInformation::Reachability::Online);
    };
    QNetworkInformation* const peer = QNetworkInformation::instance();
    QObject::connect(peer, &QNetworkInformation::reachabilityChanged, peer, tell, Qt::DirectConnection);
    tell(peer->reachability());
    QCoreApplication::exec();
  });
  measureBoth("QNetworkInformation", qt);
  std::fflush(stdout);
  ::_exit(0);
}
