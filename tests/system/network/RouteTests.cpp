// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <latch>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "Tessaly/Platform/Fakes/InMemoryUserDefaults.hpp"
#include "Tessaly/Platform/Linux/LinuxNetworkBackend.hpp"
#include "Tessaly/Platform/Network/NWPathMonitor.hpp"
#include "Tessaly/Platform/Tasks/BlockingWork.hpp"
#include "Tessaly/Platform/Tasks/MainQueue.hpp"
#include "Tessaly/Platform/Tasks/SyncWait.hpp"
#include "Tessaly/Platform/Tasks/Task.hpp"
#include "Tessaly/SystemServices/ReachabilityService.hpp"
#include "tests/Support/Repetitions.hpp"
#include "tests/system/network/Namespace.hpp"

// Paths over real links, in a network namespace of the test's own: two ends of a cable, "left" and "right", of which
// the default route leads through "left".

namespace {

using namespace Tessaly;
using namespace std::chrono_literals;
using Tests::ip;
using Status = NWPath::Status;

class Routes : public testing::Test {
 protected:
  void SetUp() override {
    if (!Tests::reasonForNoNamespace().empty()) GTEST_SKIP() << Tests::reasonForNoNamespace();
    if (!Tests::canIp("link add name left type veth peer name right")) GTEST_SKIP() << "the kernel has no veth links";
    // No bus: what a test sees is what the routes make.
    ::setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1);
  }

  static void plugIn() {
    ip("address add 10.1.0.1/24 dev left\n"
       "link set left up\n"
       "link set right up\n"
       "route add default via 10.1.0.2 dev left");
  }

  /// A monitor whose updates are counted, and waited for.
  class Follower {
   public:
    Follower() : monitor_(NWPathMonitor::make()) {
      monitor_->setPathUpdateHandler([this](const NWPath& path) {
        const std::lock_guard guard(mutex_);
        paths_.push_back(path);
        changed_.notify_all();
      });
      monitor_->start(OS_dispatch_queue::global());
    }
    ~Follower() { monitor_->cancel(); }

    /// Waits until the last update has this status.
    bool becomes(Status status) {
      std::unique_lock lock(mutex_);
      return changed_.wait_for(lock, 8s, [&] { return !paths_.empty() && paths_.back().status() == status; });
    }
    [[nodiscard]] std::vector<NWPath> paths() {
      const std::lock_guard guard(mutex_);
      return paths_;
    }
    [[nodiscard]] Status now() const { return monitor_->currentPath().status(); }

   private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<NWPath> paths_;
    const std::shared_ptr<NWPathMonitor> monitor_;
  };

  static std::ptrdiff_t openDescriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), std::filesystem::directory_iterator());
  }

  /// What a new monitor knows at once.
  static Status statusAtOnce() { return NWPathMonitor::make()->currentPath().status(); }
};

TEST_F(Routes, AMonitorKnowsThePathAtOnce) {
  EXPECT_EQ(statusAtOnce(), Status::unsatisfied);
  EXPECT_EQ(NWPathMonitor::make()->currentPath().statusSource(), NWPath::StatusSource::kernel);
}

TEST_F(Routes, AMonitorThatIsMadeAfterAChangeKnowsOfIt) {
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
  // The route went with the link, and does not come back with it.
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

TEST_F(Routes, ASecondDefaultRouteKeepsItOnlineWhenTheFirstFails) {
  plugIn();
  EXPECT_TRUE(Follower().becomes(Status::satisfied));
  ip("link add name left2 type veth peer name right2\n"
     "address add 10.2.0.1/24 dev left2\n"
     "link set left2 up\n"
     "link set right2 up\n"
     "route del default\n"
     "route add default via 10.2.0.2 dev left2 metric 100");
  EXPECT_TRUE(Follower().becomes(Status::satisfied));
  // Both carriers are known to be there now.
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

TEST_F(Routes, ARouteThatReplacesAnotherIsTheOneThatCounts) {
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

TEST_F(Routes, IPv6WithALinkLocalAddressAloneIsOffline) {
  ip("link set left up\nlink set right up\nroute add ::/0 via fe80::1 dev left");
  EXPECT_EQ(statusAtOnce(), Status::unsatisfied);
}

TEST_F(Routes, SeveralWaysOfOneRouteOfIPv6ComeAndGo) {
  ip("link set left up\nlink set right up\naddress add 2001:db8::1/64 dev left nodad\n"
     "route add ::/0 nexthop via 2001:db8::2 dev left nexthop via 2001:db8::3 dev left");
  Follower follower;
  EXPECT_TRUE(follower.becomes(Status::satisfied));
  ip("route del ::/0 via 2001:db8::2 dev left");
  EXPECT_EQ(statusAtOnce(), Status::satisfied);
  ip("route del ::/0 via 2001:db8::3 dev left");
  EXPECT_TRUE(follower.becomes(Status::unsatisfied));
}

TEST_F(Routes, AnUnreachableDefaultRouteIsOffline) {
  ip("link set lo up\nroute add unreachable default");
  EXPECT_EQ(statusAtOnce(), Status::unsatisfied);
}

TEST_F(Routes, ATunnelThatTakesBothHalvesIsOnline) {
  ip("address add 10.1.0.1/24 dev left\nlink set left up\nlink set right up\n"
     "route add 0.0.0.0/1 via 10.1.0.2\nroute add 128.0.0.0/1 via 10.1.0.2");
  EXPECT_TRUE(Follower().becomes(Status::satisfied));
  ip("route del 128.0.0.0/1");
  EXPECT_EQ(statusAtOnce(), Status::unsatisfied);
}

TEST_F(Routes, ATunnelIsJudgedByItsOwnRoute) {
  if (!Tests::canIp("tuntap add dev tunnel mode tun")) GTEST_SKIP() << "there is no /dev/net/tun for this user";
  ip("address add 10.8.0.1/24 dev tunnel\nlink set tunnel up\nroute add default dev tunnel");
  // Nobody has opened it: it has no carrier.
  EXPECT_EQ(statusAtOnce(), Status::unsatisfied);
}

TEST_F(Routes, ABridgeIsJudgedByItsPorts) {
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

TEST_F(Routes, AThousandFlapsEndInTheTruthAndLeaveNothingBehind) {
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
  EXPECT_EQ(openDescriptors(), before);
}

TEST_F(Routes, HundredsOfLinksAreNoHindrance) {
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

TEST_F(Routes, MessagesThatWereLostAreMadeGoodByReadingAnew) {
  const std::shared_ptr<LinuxNetworkBackend> backend = LinuxNetworkBackend::make();
  EXPECT_EQ(backend->fullReadings(), 1u);
  plugIn();
  // The queue of the socket is filled while nobody reads it: all threads that would are held up.
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
  EXPECT_EQ(backend->fullReadings(), 2u);
  ip("route add default via 10.1.0.2");
  backend->refresh();
  EXPECT_EQ(backend->currentPath().status(), Status::satisfied);
  EXPECT_EQ(backend->fullReadings(), 2u);
  areFree.count_down();
  areDone.wait();
}

TEST_F(Routes, TheServiceSeesItInAllItsShapes) {
  const UserDefaultsInstallation installation(InMemoryUserDefaults::make());
  EXPECT_FALSE(ReachabilityService::isOnline());
  EXPECT_FALSE(ReachabilityService::observableIsOnline());
  const AsyncStream<ReachabilityService::Status> statuses = ReachabilityService::statuses();
  std::thread cable([] {
    std::this_thread::sleep_for(20ms);
    plugIn();
  });
  syncWait([]() -> Async<void> { co_await ReachabilityService::nextIsOnline(); });
  cable.join();
  const auto taken = syncWait([&]() -> Async<std::vector<bool>> {
    std::vector<bool> online;
    auto iterator = statuses.makeAsyncIterator();
    while (online.empty() || !online.back()) online.push_back((co_await iterator.next())->isOnline);
    co_return online;
  });
  EXPECT_THAT(taken, testing::ElementsAre(false, true));
  EXPECT_TRUE(ReachabilityService::isOnline());
  // The update of the observable reads may still be on its way to the main queue.
  for (const auto limit = std::chrono::steady_clock::now() + 8s;
       !ReachabilityService::observableIsOnline() && std::chrono::steady_clock::now() < limit;) {
    MainQueue::drain();
  }
  EXPECT_TRUE(ReachabilityService::observableIsOnline());
  EXPECT_FALSE(ReachabilityService::isExpensive());
}

#if !__has_feature(thread_sanitizer)  // Its runtime has a thread that wakes by itself.
/// How often the threads of this process but the calling one went to sleep so far.
std::int64_t sleepsOfOthers() {
  std::int64_t sleeps = 0;
  for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
    if (thread.path().filename() == std::to_string(::gettid())) continue;
    std::ifstream status(thread.path() / "status");
    for (std::string line; std::getline(status, line);) {
      if (line.starts_with("voluntary_ctxt_switches:")) sleeps += std::stoll(line.substr(line.find(':') + 1));
    }
  }
  return sleeps;
}

TEST_F(Routes, NothingWakesAServiceWhileNothingHappens) {
  const UserDefaultsInstallation installation(InMemoryUserDefaults::make());
  const AsyncStream<ReachabilityService::Status> statuses = ReachabilityService::statuses();
  EXPECT_FALSE(ReachabilityService::isOnline());
  EXPECT_FALSE(ReachabilityService::observableIsOnline());
  syncWait([&]() -> Async<void> {
    auto iterator = statuses.makeAsyncIterator();
    co_await iterator.next();
  });
  while (MainQueue::drain() > 0) {
  }
  // All is delivered; the threads that did it lie down.
  std::int64_t before = -1;
  for (std::int64_t now = sleepsOfOthers(); now != before; now = sleepsOfOthers()) {
    before = now;
    std::this_thread::sleep_for(100ms);
  }
  std::this_thread::sleep_for(1s);
  EXPECT_EQ(sleepsOfOthers(), before);
  // And that they would be seen.
  plugIn();
  EXPECT_TRUE(Follower().becomes(Status::satisfied));
  EXPECT_GT(sleepsOfOthers(), before);
}
#endif

TEST_F(Routes, TenThousandConsumersComeAndGoWhileLinksFlap) {
  const UserDefaultsInstallation installation(InMemoryUserDefaults::make());
  plugIn();
  syncWait([]() -> Async<void> { co_await ReachabilityService::nextIsOnline(); });
  const auto before = openDescriptors();
  std::thread flapper([] {
    std::string flaps;
    for (int i = 0; i < 300; ++i) flaps += "link set right down\nlink set right up\n";
    ip(flaps);
  });
  for (int i = 0; i < 10'000; ++i) {
    const AsyncStream<ReachabilityService::Status> statuses = ReachabilityService::statuses();
    if (i % 100 == 0) {
      const auto status = syncWait([&]() -> Async<std::optional<ReachabilityService::Status>> {
        auto iterator = statuses.makeAsyncIterator();
        co_return co_await iterator.next();
      });
      EXPECT_TRUE(status.has_value());
    }
  }
  flapper.join();
  EXPECT_EQ(openDescriptors(), before);
}

}  // namespace
