// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

#include "Tessaly/Core/Tasks/MainQueue.hpp"
#include "Tessaly/Platform/Network/NWPathMonitor.hpp"
#include "Tessaly/Platform/Testing/ScriptedNetwork.hpp"
#include "tests/Support/Repetitions.hpp"
#include "tests/Support/WaitUntil.hpp"

namespace Tessaly {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Status = NWPath::Status;

constexpr NWPath satisfied({.status = Status::satisfied});
constexpr NWPath unsatisfied({.status = Status::unsatisfied});
constexpr NWPath expensive({.status = Status::satisfied, .isExpensive = true});

class NWPathMonitorTest : public testing::Test {
 protected:
  /// Runs the pending work of the main queue.
  static void drain() {
    while (MainQueue::drain() > 0) {
    }
  }
  NWPathMonitor::PathUpdateHandler recorder() {
    return [this](const NWPath& path) { paths.push_back(path); };
  }

  std::vector<NWPath> paths;
  const std::shared_ptr<ScriptedNetwork> network = std::make_shared<ScriptedNetwork>(satisfied);
  const NetworkBackendInstallation installation{network};
};

TEST_F(NWPathMonitorTest, KnowsThePathBeforeItIsStarted) {
  const auto monitor = NWPathMonitor::make();
  EXPECT_EQ(monitor->currentPath(), satisfied);
  network->setPath(expensive);
  EXPECT_EQ(monitor->currentPath(), expensive);
}

TEST_F(NWPathMonitorTest, MakingItRefreshesTheBackend) {
  EXPECT_EQ(network->monitors(), 0);
  const auto monitor = NWPathMonitor::make();
  EXPECT_EQ(network->monitors(), 1);
}

TEST_F(NWPathMonitorTest, ReportsNothingUntilItIsStarted) {
  const auto monitor = NWPathMonitor::make();
  monitor->setPathUpdateHandler(recorder());
  network->setPath(unsatisfied);
  drain();
  EXPECT_THAT(paths, IsEmpty());
}

TEST_F(NWPathMonitorTest, FirstUpdateIsThePathOfTheStart) {
  const auto monitor = NWPathMonitor::make();
  monitor->setPathUpdateHandler(recorder());
  monitor->start(OS_dispatch_queue::main());
  EXPECT_THAT(paths, IsEmpty());
  drain();
  EXPECT_THAT(paths, ElementsAre(satisfied));
}

TEST_F(NWPathMonitorTest, ReportsEveryPathInOrder) {
  const auto monitor = NWPathMonitor::make();
  monitor->setPathUpdateHandler(recorder());
  monitor->start(OS_dispatch_queue::main());
  network->setPath(unsatisfied);
  network->setPath(unsatisfied);
  network->setPath(expensive);
  drain();
  EXPECT_THAT(paths, ElementsAre(satisfied, unsatisfied, unsatisfied, expensive));
}

TEST_F(NWPathMonitorTest, SecondStartDoesNothing) {
  const auto monitor = NWPathMonitor::make();
  monitor->setPathUpdateHandler(recorder());
  monitor->start(OS_dispatch_queue::main());
  monitor->start(OS_dispatch_queue::main());
  drain();
  EXPECT_THAT(paths, ElementsAre(satisfied));
}

TEST_F(NWPathMonitorTest, CancelledMonitorStillKnowsThePath) {
  const auto monitor = NWPathMonitor::make();
  monitor->setPathUpdateHandler(recorder());
  monitor->start(OS_dispatch_queue::main());
  network->setPath(unsatisfied);
  monitor->cancel();
  monitor->cancel();
  network->setPath(expensive);
  drain();
  EXPECT_THAT(paths, IsEmpty());
  EXPECT_EQ(monitor->currentPath(), expensive);
}

TEST_F(NWPathMonitorTest, StartAfterCancelDoesNothing) {
  const auto monitor = NWPathMonitor::make();
  monitor->cancel();
  monitor->setPathUpdateHandler(recorder());
  monitor->start(OS_dispatch_queue::main());
  drain();
  EXPECT_THAT(paths, IsEmpty());
}

TEST_F(NWPathMonitorTest, CancelInTheHandlerDropsPendingUpdates) {
  const auto monitor = NWPathMonitor::make();
  monitor->setPathUpdateHandler([&](const NWPath& path) {
    paths.push_back(path);
    monitor->cancel();
  });
  monitor->start(OS_dispatch_queue::main());
  network->setPath(unsatisfied);
  drain();
  EXPECT_THAT(paths, ElementsAre(satisfied));
}

TEST_F(NWPathMonitorTest, CancelReleasesTheHandler) {
  const auto token = std::make_shared<int>(0);
  const auto monitor = NWPathMonitor::make();
  monitor->setPathUpdateHandler([token](const NWPath&) {});
  EXPECT_EQ(token.use_count(), 2);
  monitor->cancel();
  EXPECT_EQ(token.use_count(), 1);
  monitor->setPathUpdateHandler([token](const NWPath&) {});
  EXPECT_EQ(token.use_count(), 1);
}

TEST_F(NWPathMonitorTest, NewHandlerReceivesLaterPaths) {
  const auto monitor = NWPathMonitor::make();
  monitor->setPathUpdateHandler([&](const NWPath&) { monitor->setPathUpdateHandler(recorder()); });
  monitor->start(OS_dispatch_queue::main());
  network->setPath(unsatisfied);
  drain();
  EXPECT_THAT(paths, ElementsAre(unsatisfied));
}

TEST_F(NWPathMonitorTest, WithoutAHandlerUpdatesAreDropped) {
  const auto monitor = NWPathMonitor::make();
  monitor->start(OS_dispatch_queue::main());
  drain();
  monitor->setPathUpdateHandler(recorder());
  drain();
  EXPECT_THAT(paths, IsEmpty());
  network->setPath(unsatisfied);
  drain();
  EXPECT_THAT(paths, ElementsAre(unsatisfied));
}

TEST_F(NWPathMonitorTest, NestedLoopInTheHandlerGetsTheNextUpdates) {
  const auto monitor = NWPathMonitor::make();
  monitor->setPathUpdateHandler([&](const NWPath& path) {
    paths.push_back(path);
    if (paths.size() == 1) drain();
    if (paths.size() == 2) EXPECT_EQ(path, unsatisfied);
  });
  monitor->start(OS_dispatch_queue::main());
  network->setPath(unsatisfied);
  network->setPath(expensive);
  drain();
  EXPECT_THAT(paths, ElementsAre(satisfied, unsatisfied, expensive));
}

TEST_F(NWPathMonitorTest, ReleasedMonitorDeliversNothingMore) {
  auto monitor = NWPathMonitor::make();
  monitor->setPathUpdateHandler(recorder());
  monitor->start(OS_dispatch_queue::main());
  network->setPath(unsatisfied);
  monitor.reset();
  drain();
  EXPECT_THAT(paths, IsEmpty());
}

TEST_F(NWPathMonitorTest, MonitorReleasedByItsHandlerLivesUntilTheHandlerReturns) {
  auto monitor = NWPathMonitor::make();
  const std::weak_ptr<NWPathMonitor> weak = monitor;
  monitor->setPathUpdateHandler([&](const NWPath& path) {
    paths.push_back(path);
    monitor.reset();
    EXPECT_FALSE(weak.expired());
  });
  monitor->start(OS_dispatch_queue::main());
  network->setPath(unsatisfied);
  drain();
  EXPECT_TRUE(weak.expired());
  EXPECT_THAT(paths, ElementsAre(satisfied));
}

TEST_F(NWPathMonitorTest, ReleasedMonitorEndsWhileChangesContinue) {
  auto monitor = NWPathMonitor::make();
  const std::weak_ptr<NWPathMonitor> weak = monitor;
  std::atomic<bool> isDelivering{false};
  monitor->setPathUpdateHandler([&](const NWPath&) {
    network->setPath(network->currentPath() == satisfied ? unsatisfied : satisfied);
    isDelivering = true;
    isDelivering.notify_one();
  });
  monitor->start(OS_dispatch_queue::global());
  isDelivering.wait(false);
  monitor.reset();
  EXPECT_TRUE(Tests::waitUntil([&] { return weak.expired(); }));
}

TEST_F(NWPathMonitorTest, KeepsItsBackendAfterAnInstallation) {
  const auto monitor = NWPathMonitor::make();
  const auto other = std::make_shared<ScriptedNetwork>(unsatisfied);
  const NetworkBackendInstallation second(other);
  EXPECT_EQ(monitor->currentPath(), satisfied);
  EXPECT_EQ(NWPathMonitor::make()->currentPath(), unsatisfied);
}

TEST_F(NWPathMonitorTest, ConcurrentQueueKeepsUpdatesInOrder) {
  constexpr int changes = 200;
  for (int repetition = 0; repetition < Tests::repetitions(50); ++repetition) {
    const auto monitor = NWPathMonitor::make();
    std::atomic<int> inside{0};
    std::atomic<int> count{0};
    std::atomic<bool> isOrdered{true};
    monitor->setPathUpdateHandler([&](const NWPath& path) {
      if (inside.fetch_add(1) != 0) isOrdered = false;
      // The first update is that of the start. Later updates alternate.
      const int index = count.load();
      if (index > 0 && path != (index % 2 == 1 ? unsatisfied : satisfied)) isOrdered = false;
      inside.fetch_sub(1);
      count.fetch_add(1);
      count.notify_one();
    });
    monitor->start(OS_dispatch_queue::global());
    for (int i = 0; i < changes; ++i) network->setPath(i % 2 == 0 ? unsatisfied : satisfied);
    for (int seen = count; seen <= changes; seen = count) count.wait(seen);
    EXPECT_TRUE(isOrdered);
    EXPECT_EQ(count, changes + 1);
    monitor->cancel();
  }
}

TEST_F(NWPathMonitorTest, MonitorsMayBeMadeAndDestroyedDuringChanges) {
  std::atomic<bool> isDone{false};
  std::thread changer([&] {
    while (!isDone) network->setPath(network->currentPath() == satisfied ? unsatisfied : satisfied);
  });
  const auto token = std::make_shared<int>(0);
  for (int i = 0; i < Tests::repetitions(300); ++i) {
    auto monitor = NWPathMonitor::make();
    const auto counted = std::make_shared<std::atomic<int>>(0);
    monitor->setPathUpdateHandler([counted, token](const NWPath&) {
      counted->fetch_add(1);
      counted->notify_one();
    });
    monitor->start(OS_dispatch_queue::global());
    counted->wait(0);
    if (i % 2 == 0) monitor->cancel();
  }
  isDone = true;
  changer.join();
}

TEST(NWPathMonitorDeathTest, AHandlerThatThrowsStopsTheProcess) {
  EXPECT_DEATH(
      {
        const NetworkBackendInstallation installation(std::make_shared<ScriptedNetwork>(satisfied));
        const auto monitor = NWPathMonitor::make();
        monitor->setPathUpdateHandler([](const NWPath&) { throw std::runtime_error("no"); });
        monitor->start(OS_dispatch_queue::main());
        MainQueue::drain();
      },
      "The update handler of a path monitor has thrown");
}

}  // namespace
}  // namespace Tessaly
