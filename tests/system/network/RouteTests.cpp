// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <latch>
#include <memory>
#include <string>
#include <vector>

#include "Tessaly/Core/Tasks/BlockingWork.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"
#include "Tessaly/Platform/Linux/LinuxNetworkBackend.hpp"
#include "tests/Support/Repetitions.hpp"
#include "tests/system/network/Routes.hpp"

namespace {

using namespace Tessaly;
using Tests::ip;
using Tests::Routes;
using Status = NWPath::Status;

TEST_F(Routes, NewMonitorKnowsThePath) {
  EXPECT_EQ(statusAtOnce(), Status::unsatisfied);
  EXPECT_EQ(NWPathMonitor::make()->currentPath().statusSource(), NWPath::StatusSource::kernel);
}

TEST_F(Routes, NewMonitorKnowsEarlierChanges) {
  plugIn();
  EXPECT_TRUE(Follower().becomes(Status::satisfied));
  const auto first = NWPathMonitor::make();
  EXPECT_EQ(first->currentPath().status(), Status::satisfied);
  ip("route del default");
  EXPECT_EQ(statusAtOnce(), Status::unsatisfied);
  EXPECT_EQ(first->currentPath().status(), Status::unsatisfied);
  ip("route add default via 10.1.0.2");
  EXPECT_EQ(statusAtOnce(), Status::satisfied);
  ip("address flush dev left");
  EXPECT_EQ(statusAtOnce(), Status::unsatisfied);
}

TEST_F(Routes, PluggingInAndOutIsFollowed) {
  Follower follower;
  EXPECT_TRUE(follower.becomes(Status::unsatisfied));
  plugIn();
  EXPECT_TRUE(follower.becomes(Status::satisfied));
  ip("link set left down");
  EXPECT_TRUE(follower.becomes(Status::unsatisfied));
  // The kernel removed the route when the link went down, and does not restore it.
  ip("link set left up");
  EXPECT_EQ(statusAtOnce(), Status::unsatisfied);
  ip("route add default via 10.1.0.2");
  EXPECT_TRUE(follower.becomes(Status::satisfied));
}

TEST_F(Routes, LosingTheCarrierUnderAStaticRouteIsOffline) {
  plugIn();
  Follower follower;
  EXPECT_TRUE(follower.becomes(Status::satisfied));
  ip("link set right down");
  EXPECT_TRUE(follower.becomes(Status::unsatisfied));
  ip("link set right up");
  EXPECT_TRUE(follower.becomes(Status::satisfied));
}

TEST_F(Routes, RemovingTheRouteIsOffline) {
  plugIn();
  Follower follower;
  EXPECT_TRUE(follower.becomes(Status::satisfied));
  ip("route del default");
  EXPECT_TRUE(follower.becomes(Status::unsatisfied));
}

TEST_F(Routes, RemovingTheAddressIsOffline) {
  plugIn();
  Follower follower;
  EXPECT_TRUE(follower.becomes(Status::satisfied));
  ip("address del 10.1.0.1/24 dev left");
  EXPECT_TRUE(follower.becomes(Status::unsatisfied));
}

TEST_F(Routes, RemovingTheLinkIsOffline) {
  plugIn();
  Follower follower;
  EXPECT_TRUE(follower.becomes(Status::satisfied));
  ip("link del right");
  EXPECT_TRUE(follower.becomes(Status::unsatisfied));
}

TEST_F(Routes, SecondDefaultRouteKeepsItOnline) {
  plugIn();
  EXPECT_TRUE(Follower().becomes(Status::satisfied));
  ip("link add name left2 type veth peer name right2\n"
     "address add 10.2.0.1/24 dev left2\n"
     "link set left2 up\n"
     "link set right2 up\n"
     "route del default\n"
     "route add default via 10.2.0.2 dev left2 metric 100");
  EXPECT_TRUE(Follower().becomes(Status::satisfied));
  // The kernel has reported both carriers by now.
  ip("route add default via 10.1.0.2 dev left");
  Follower follower;
  EXPECT_TRUE(follower.becomes(Status::satisfied));
  ip("link set right down");
  EXPECT_EQ(statusAtOnce(), Status::satisfied);
  ip("link set right2 down");
  EXPECT_TRUE(follower.becomes(Status::unsatisfied));
  ip("link set right up");
  EXPECT_TRUE(follower.becomes(Status::satisfied));
  EXPECT_EQ(follower.paths().size(), 3u);
}

TEST_F(Routes, ReplacingRouteCounts) {
  plugIn();
  ip("link add name left2 type veth peer name right2\naddress add 10.2.0.1/24 dev left2\nlink set left2 up");
  Follower follower;
  EXPECT_TRUE(follower.becomes(Status::satisfied));
  ip("route replace default via 10.2.0.2 dev left2 onlink");
  EXPECT_TRUE(follower.becomes(Status::unsatisfied));
  ip("link set right2 up");
  EXPECT_TRUE(follower.becomes(Status::satisfied));
}

TEST_F(Routes, IPv6AloneIsOnline) {
  ip("link set left up\n"
     "link set right up\n"
     "address add 2001:db8::1/64 dev left nodad\n"
     "route add ::/0 via 2001:db8::2 dev left");
  Follower follower;
  EXPECT_TRUE(follower.becomes(Status::satisfied));
  ip("link set right down");
  EXPECT_TRUE(follower.becomes(Status::unsatisfied));
  ip("link set right up");
  EXPECT_TRUE(follower.becomes(Status::satisfied));
  ip("address del 2001:db8::1/64 dev left");
  EXPECT_TRUE(follower.becomes(Status::unsatisfied));
}

TEST_F(Routes, LinkLocalIPv6AloneIsOffline) {
  ip("link set left up\nlink set right up\nroute add ::/0 via fe80::1 dev left");
  EXPECT_EQ(statusAtOnce(), Status::unsatisfied);
}

TEST_F(Routes, NextHopsOfAnIPv6RouteAreFollowed) {
  ip("link set left up\nlink set right up\naddress add 2001:db8::1/64 dev left nodad\n"
     "route add ::/0 nexthop via 2001:db8::2 dev left nexthop via 2001:db8::3 dev left");
  Follower follower;
  EXPECT_TRUE(follower.becomes(Status::satisfied));
  ip("route del ::/0 via 2001:db8::2 dev left");
  EXPECT_EQ(statusAtOnce(), Status::satisfied);
  ip("route del ::/0 via 2001:db8::3 dev left");
  EXPECT_TRUE(follower.becomes(Status::unsatisfied));
}

TEST_F(Routes, UnreachableDefaultRouteIsOffline) {
  ip("link set lo up\nroute add unreachable default");
  EXPECT_EQ(statusAtOnce(), Status::unsatisfied);
}

TEST_F(Routes, TunnelWithBothHalvesIsOnline) {
  ip("address add 10.1.0.1/24 dev left\nlink set left up\nlink set right up\n"
     "route add 0.0.0.0/1 via 10.1.0.2\nroute add 128.0.0.0/1 via 10.1.0.2");
  EXPECT_TRUE(Follower().becomes(Status::satisfied));
  ip("route del 128.0.0.0/1");
  EXPECT_EQ(statusAtOnce(), Status::unsatisfied);
}

TEST_F(Routes, TunnelIsJudgedByItsOwnRoute) {
  if (!Tests::canIp("tuntap add dev tunnel mode tun")) GTEST_SKIP() << "there is no /dev/net/tun for this user";
  ip("address add 10.8.0.1/24 dev tunnel\nlink set tunnel up\nroute add default dev tunnel");
  // No process has opened the tunnel, so it has no carrier.
  EXPECT_EQ(statusAtOnce(), Status::unsatisfied);
}

TEST_F(Routes, BridgeIsJudgedByItsPorts) {
  if (!Tests::canIp("link add name bridge type bridge")) GTEST_SKIP() << "the kernel has no bridges";
  ip("link set left master bridge\naddress add 10.1.0.1/24 dev bridge\nlink set bridge up\nlink set left up\n"
     "link set right up\nroute add default via 10.1.0.2 dev bridge");
  Follower follower;
  EXPECT_TRUE(follower.becomes(Status::satisfied));
  ip("link set right down");
  EXPECT_TRUE(follower.becomes(Status::unsatisfied));
  ip("link set right up");
  EXPECT_TRUE(follower.becomes(Status::satisfied));
  ip("link set left nomaster");
  EXPECT_TRUE(follower.becomes(Status::unsatisfied));
}

TEST_F(Routes, ThousandFlapsEndWithTheRightPath) {
  plugIn();
  Follower follower;
  EXPECT_TRUE(follower.becomes(Status::satisfied));
  const auto before = openDescriptors();
  std::string flaps;
  for (int i = 0; i < Tests::repetitions(1000); ++i) flaps += "link set right down\nlink set right up\n";
  ip(flaps + "link set right down");
  EXPECT_TRUE(follower.becomes(Status::unsatisfied));
  ip(flaps);
  EXPECT_TRUE(follower.becomes(Status::satisfied));
  const std::vector<NWPath> paths = follower.paths();
  for (std::size_t i = 1; i < paths.size(); ++i) ASSERT_NE(paths[i].status(), paths[i - 1].status()) << i;
  EXPECT_TRUE(openDescriptorsBecome(before)) << openDescriptors();
}

TEST_F(Routes, HundredsOfLinksWork) {
  std::string links;
  for (int i = 0; i < 150; ++i) {
    const std::string number = std::to_string(i);
    links += "link add name l" + number + " type veth peer name r" + number + "\n";
    links += "address add 10.3." + number + ".1/24 dev l" + number + "\nlink set l" + number + " up\n";
  }
  Follower follower;
  ip(links);
  plugIn();
  EXPECT_TRUE(follower.becomes(Status::satisfied));
  EXPECT_EQ(LinuxNetworkBackend::make()->currentPath().status(), Status::satisfied);
}

TEST_F(Routes, LostMessagesAreRecovered) {
  const std::shared_ptr<LinuxNetworkBackend> backend = LinuxNetworkBackend::make();
  EXPECT_EQ(backend->fullReadingsForTesting(), 1u);
  plugIn();
  // The queue of the socket fills up, because all threads that could read it are blocked.
  constexpr int blockingThreads = 64;
  std::latch areHeldUp(blockingThreads);
  std::latch areFree(1);
  std::latch areDone(blockingThreads);
  for (int i = 0; i < blockingThreads; ++i) {
    Task<>::detached([&]() -> Async<void> {
      co_await runBlocking([&] {
        areHeldUp.count_down();
        areFree.wait();
      });
      areDone.count_down();
    });
  }
  areHeldUp.wait();
  std::string changes;
  for (int i = 0; i < 6000; ++i) changes += "route add default via 10.1.0.2 metric 7\nroute del default metric 7\n";
  ip(changes + "route del default");
  backend->refresh();
  EXPECT_EQ(backend->currentPath().status(), Status::unsatisfied);
  EXPECT_EQ(backend->fullReadingsForTesting(), 2u);
  ip("route add default via 10.1.0.2");
  backend->refresh();
  EXPECT_EQ(backend->currentPath().status(), Status::satisfied);
  EXPECT_EQ(backend->fullReadingsForTesting(), 2u);
  areFree.count_down();
  areDone.wait();
}

}  // namespace
