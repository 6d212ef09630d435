// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "Tessaly/Core/Tasks/MainQueue.hpp"
#include "Tessaly/Core/Tasks/SyncWait.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"
#include "Tessaly/Platform/Testing/InMemoryUserDefaults.hpp"
#include "Tessaly/SystemServices/ReachabilityService.hpp"
#include "tests/Support/Allocations.hpp"
#include "tests/Support/SystemCalls.hpp"
#include "tests/Support/WakeUps.hpp"
#include "tests/system/network/Routes.hpp"

// The service over real links.

namespace {

using namespace Tessaly;
using namespace std::chrono_literals;
using Tests::ip;
using Tests::Routes;
using Status = NWPath::Status;

TEST_F(Routes, EveryShapeOfTheServiceFollowsThePath) {
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
  // The update of the observable reads may still wait in the main queue.
  for (const auto limit = std::chrono::steady_clock::now() + 8s;
       !ReachabilityService::observableIsOnline() && std::chrono::steady_clock::now() < limit;) {
    MainQueue::drain();
  }
  EXPECT_TRUE(ReachabilityService::observableIsOnline());
  EXPECT_FALSE(ReachabilityService::isExpensive());
}

TEST_F(Routes, ServiceSleepsWithoutChanges) {
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
  EXPECT_TRUE(Tests::libraryStaysAsleep(1s));
  // The counter increases when a thread of the library that has woken up sleeps again, perhaps after it has reported.
  const std::int64_t before = Tests::sleepsOfLibrary();
  plugIn();
  EXPECT_TRUE(Follower().becomes(Status::satisfied));
  while (Tests::sleepsOfLibrary() == before) std::this_thread::yield();
}

#if !__has_feature(thread_sanitizer)  // Its runtime makes system calls of its own.
TEST_F(Routes, InstantReadsMakeNoSystemCall) {
  const UserDefaultsInstallation installation(InMemoryUserDefaults::make());
  plugIn();
  EXPECT_EQ(Tests::systemCallsOf([] {
              // The first call may have to wait for the carrier of the link.
              static const bool isOnline = Follower().becomes(Status::satisfied);
              if (!isOnline || !ReachabilityService::isOnline() || ReachabilityService::isExpensive()) ::_exit(1);
            }),
            Tests::SystemCalls::none);
}
#endif

/// Unplugs and replugs the cable for a scope. The destructor leaves the cable plugged in.
class Flapping {
 public:
  Flapping()
      : thread_([this] {
          while (!isDone_) {
            ip("link set right down\nlink set right up");
            ++flaps_;
          }
        }) {}
  ~Flapping() {
    isDone_ = true;
    thread_.join();
  }
  [[nodiscard]] int flaps() const { return flaps_; }

 private:
  std::atomic<bool> isDone_{false};
  std::atomic<int> flaps_{0};
  std::thread thread_;
};

TEST_F(Routes, TenThousandConsumersComeAndGoDuringFlaps) {
  const UserDefaultsInstallation installation(InMemoryUserDefaults::make());
  plugIn();
  syncWait([]() -> Async<void> { co_await ReachabilityService::nextIsOnline(); });
  std::atomic<int> statusesTaken{0};
  const auto comeAndGo = [&](int consumers) {
    for (int i = 0; i < consumers; ++i) {
      const AsyncStream<ReachabilityService::Status> statuses = ReachabilityService::statuses();
      const auto consume = [&statusesTaken, statuses](int count) -> Async<void> {
        auto iterator = statuses.makeAsyncIterator();
        for (; count > 0; --count) {
          if (!co_await iterator.next()) break;
          ++statusesTaken;
        }
      };
      switch (i % 4) {
        case 0:  // The stream is destroyed without a consumer.
          break;
        case 1:
          syncWait([&]() -> Async<void> { co_await consume(1); });
          break;
        case 2: {  // The task is cancelled at any status.
          Task<> task([&]() -> Async<void> { co_await consume(1'000'000); });
          task.cancel();
          syncWait([&]() -> Async<void> { co_await task.value(); });
          break;
        }
        case 3:  // Every fiftieth consumer waits for a change.
          syncWait([&]() -> Async<void> { co_await consume(i % 200 == 3 ? 2 : 1); });
      }
    }
  };
  const auto comeAndGoOnTwoThreads = [&](int consumers) {
    const Flapping flapping;
    std::thread other([&] { comeAndGo(consumers / 2); });
    comeAndGo(consumers / 2);
    other.join();
    return flapping.flaps();
  };
  const auto settle = [] {
    EXPECT_TRUE(Follower().becomes(Status::satisfied));
    EXPECT_TRUE(Tests::libraryStaysAsleep(200ms));
  };
  comeAndGoOnTwoThreads(400);
  settle();
  const auto descriptors = openDescriptors();
  const long blocks = Tests::allocatedBlocks();
  EXPECT_GT(comeAndGoOnTwoThreads(10'000), 5);
  settle();
  EXPECT_GE(statusesTaken, 5'000);
  EXPECT_TRUE(openDescriptorsBecome(descriptors)) << openDescriptors();
  // Caches may keep some blocks, but fewer than one for every tenth consumer.
  EXPECT_LT(Tests::allocatedBlocks() - blocks, 1'000);
}

TEST_F(Routes, ThousandWaitsDuringFlapsEndAndLeaveNothing) {
  const UserDefaultsInstallation installation(InMemoryUserDefaults::make());
  plugIn();
  const auto waitSoOften = [](int count) {
    const Flapping flapping;
    for (int i = 0; i < count; ++i) syncWait([]() -> Async<void> { co_await ReachabilityService::nextIsOnline(); });
  };
  waitSoOften(100);
  EXPECT_TRUE(Tests::libraryStaysAsleep(200ms));
  const auto descriptors = openDescriptors();
  const long blocks = Tests::allocatedBlocks();
  waitSoOften(1'000);
  EXPECT_TRUE(Tests::libraryStaysAsleep(200ms));
  EXPECT_TRUE(openDescriptorsBecome(descriptors)) << openDescriptors();
  EXPECT_LT(Tests::allocatedBlocks() - blocks, 100);
}

TEST_F(Routes, ThousandConsumersReceiveAChangeAndLeaveNothing) {
  const UserDefaultsInstallation installation(InMemoryUserDefaults::make());
  plugIn();
  syncWait([]() -> Async<void> { co_await ReachabilityService::nextIsOnline(); });
  EXPECT_TRUE(Tests::libraryStaysAsleep(100ms));
  const auto descriptors = openDescriptors();
  {
    std::vector<AsyncStream<ReachabilityService::Status>> streams;
    for (int i = 0; i < 1'000; ++i) streams.push_back(ReachabilityService::statuses());
    ip("link set right down");
    for (const auto& stream : streams) {
      syncWait([&]() -> Async<void> {
        auto iterator = stream.makeAsyncIterator();
        while ((co_await iterator.next())->isOnline) {
        }
      });
    }
    // Any number of followers share one socket.
    EXPECT_TRUE(openDescriptorsBecome(descriptors)) << openDescriptors();
  }
  EXPECT_TRUE(openDescriptorsBecome(descriptors)) << openDescriptors();
}

}  // namespace
