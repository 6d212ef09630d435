// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "Tessaly/Core/Tasks/MainQueue.hpp"
#include "Tessaly/Core/Tasks/SyncWait.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"
#include "Tessaly/Platform/Power/PowerBackend.hpp"
#include "Tessaly/Platform/Testing/ScriptedPower.hpp"
#include "Tessaly/Platform/Testing/ServeUntil.hpp"
#include "Tessaly/SystemServices/DisplayWakefulness.hpp"

namespace Tessaly {
namespace {

/// A service whose answers a test delays.
class SlowPower final : public PowerBackend {
 public:
  std::int32_t createAssertion(std::string_view /*type*/, std::uint32_t /*level*/, std::string_view reason,
                               std::uint32_t& identifier) override {
    std::unique_lock lock(mutex_);
    reasons_.emplace_back(reason);
    changed_.notify_all();
    changed_.wait(lock, [&] { return answers_; });
    if (refuses_) return 1;
    identifier = ++last_;
    held_.insert(identifier);
    changed_.notify_all();
    return 0;
  }
  std::int32_t releaseAssertion(std::uint32_t identifier) override {
    const std::scoped_lock lock(mutex_);
    EXPECT_FALSE(MainQueue::isMainThread());
    held_.erase(identifier);
    changed_.notify_all();
    return 0;
  }
  [[nodiscard]] PowerStatus status() const override { return {}; }

  void answer(bool refuses = false) {
    const std::scoped_lock lock(mutex_);
    answers_ = true;
    refuses_ = refuses;
    changed_.notify_all();
  }
  void waitForRequests(std::size_t count) {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return reasons_.size() >= count; });
  }
  /// Waits until so many assertions were taken, and this many are held.
  void waitFor(std::uint32_t taken, std::size_t held) {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return last_ == taken && held_.size() == held; });
  }
  [[nodiscard]] std::vector<std::string> reasons() {
    const std::scoped_lock lock(mutex_);
    return reasons_;
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  bool answers_ = false;
  bool refuses_ = false;
  std::uint32_t last_ = 0;
  std::vector<std::string> reasons_;
  std::set<std::uint32_t> held_;
};

class DisplayWakefulnessTest : public testing::Test {
 protected:
  const std::shared_ptr<SlowPower> power_ = std::make_shared<SlowPower>();
  const PowerBackendInstallation installation_{power_};
};

TEST_F(DisplayWakefulnessTest, NeitherEndWaitsForTheService) {
  {
    const DisplayWakefulness awake("Comparing files");
    power_->waitForRequests(1);
  }
  EXPECT_EQ(power_->reasons(), (std::vector<std::string>{"Comparing files"}));
  power_->answer();
  power_->waitFor(1, 0);
}

TEST_F(DisplayWakefulnessTest, DisplayStaysAwakeForTheScope) {
  power_->answer();
  std::optional<DisplayWakefulness> awake(std::in_place, "Comparing files");
  EXPECT_TRUE(syncWait([&] { return awake->isEffective(); }));
  power_->waitFor(1, 1);
  awake.reset();
  power_->waitFor(1, 0);
}

TEST_F(DisplayWakefulnessTest, ScopesMayOverlap) {
  power_->answer();
  std::optional<DisplayWakefulness> first(std::in_place, "first");
  const DisplayWakefulness second("second");
  power_->waitFor(2, 2);
  first.reset();
  power_->waitFor(2, 1);
  EXPECT_TRUE(syncWait([&] { return second.isEffective(); }));
}

TEST_F(DisplayWakefulnessTest, RefusedRequestIsNotEffective) {
  power_->answer(true);
  const DisplayWakefulness awake("Comparing files");
  EXPECT_FALSE(syncWait([&] { return awake.isEffective(); }));
}

TEST(ScriptedPowerTest, StateIsReadBesideTheBackgroundThread) {
  const auto power = std::make_shared<ScriptedPower>();
  const PowerBackendInstallation installation(power);
  for (int turn = 0; turn < 100; ++turn) {
    std::optional<DisplayWakefulness> awake(std::in_place, "Comparing files");
    ASSERT_TRUE(serveUntil([&] { return power->snapshot().held.size() == 1; }));
    awake.reset();
    ASSERT_TRUE(serveUntil([&] { return power->snapshot().held.empty(); }));
  }
  EXPECT_EQ(power->snapshot().creations.size(), 100U);
  EXPECT_EQ(power->snapshot().releases.size(), 100U);
}

TEST(ServeUntil, RunsJobsOfTheMainQueue) {
  bool isDone = false;
  const Task<> task([&] { isDone = true; });
  EXPECT_TRUE(serveUntil([&] { return isDone; }));
}

TEST(ServeUntil, ReturnsFalseAfterTheLimit) {
  EXPECT_FALSE(serveUntil([] { return false; }, std::chrono::nanoseconds(0)));
}

}  // namespace
}  // namespace Tessaly
