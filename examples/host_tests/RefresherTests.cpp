// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "Refresher.hpp"
#include "Tessaly/Core/Tasks/MainQueue.hpp"
#include "Tessaly/Platform/Testing/InMemoryUserDefaults.hpp"
#include "Tessaly/Platform/Testing/ManualClock.hpp"
#include "Tessaly/Platform/Testing/RecordingLogBackend.hpp"
#include "Tessaly/Platform/Testing/ScriptedNetwork.hpp"

namespace {

using namespace Tessaly;
using namespace std::chrono_literals;

// clang-format off
class RefresherTest : public testing::Test {
 protected:
  void pass(std::chrono::minutes time) {
    MainQueue::drain();  // The task begins to wait.
    clock.advance(time);
    MainQueue::drain();  // The task goes on.
  }

  std::shared_ptr<InMemoryUserDefaults> settings = InMemoryUserDefaults::make();
  std::shared_ptr<ScriptedNetwork> network = std::make_shared<ScriptedNetwork>(NWPath::Status::satisfied);
  std::shared_ptr<RecordingLogBackend> log = std::make_shared<RecordingLogBackend>();
  UserDefaultsInstallation theSettings{settings};
  NetworkBackendInstallation theNetwork{network};
  LogBackendInstallation theLog{log};
  ManualClock clock;
};

TEST_F(RefresherTest, RefreshesAfterTheIntervalOfTheSettings) {
  settings->set(10, "refresh-minutes");
  const Refresher refresher(clock);
  pass(9min);
  EXPECT_EQ(refresher.refreshes(), 0);
  pass(1min);
  EXPECT_EQ(refresher.refreshes(), 1);
}

TEST_F(RefresherTest, LeavesAnExpensiveNetworkAlone) {
  network->setPath(NWPath({.status = NWPath::Status::satisfied, .isExpensive = true}));
  const Refresher refresher(clock);
  pass(15min);
  EXPECT_EQ(refresher.refreshes(), 0);
  EXPECT_EQ(log->messages(), std::vector<std::string>{"No refresh: the network is absent or expensive"});
}

TEST_F(RefresherTest, EndsWhileItWaits) {
  { const Refresher refresher(clock); MainQueue::drain(); }
  MainQueue::drain();
  EXPECT_EQ(clock.timerCount(), 0U);
}
// clang-format on

}  // namespace
