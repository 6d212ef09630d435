// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <memory>
#include <type_traits>

#include "Tessaly/Platform/Testing/ScriptedPower.hpp"
#include "Tessaly/SystemServices/SleepHandler.hpp"

namespace {

using namespace Tessaly;

class SleepHandlerTest : public testing::Test {
 protected:
  const std::shared_ptr<ScriptedPower> power_ = std::make_shared<ScriptedPower>();
  const PowerBackendInstallation installation_{power_};
  SleepHandler& handler_ = *SleepHandler::shared();
};

TEST_F(SleepHandlerTest, IsASingletonWithoutCopies) {
  EXPECT_EQ(SleepHandler::shared().get(), SleepHandler::shared().get());
  static_assert(!std::is_default_constructible_v<SleepHandler> && !std::is_copy_constructible_v<SleepHandler> &&
                !std::is_move_constructible_v<SleepHandler>);
}

TEST_F(SleepHandlerTest, TakesAnAssertionWithTheReason) {
  EXPECT_TRUE(handler_.disableScreenSleep("Playing a film"));
  EXPECT_TRUE(handler_.isIdleDisplaySleepDisabled());
  ASSERT_EQ(power_->held.size(), 1u);
  EXPECT_EQ(power_->held.begin()->second, (ScriptedPower::Creation{"NoDisplaySleepAssertion", 255, "Playing a film"}));
}

TEST_F(SleepHandlerTest, SecondAssertionReportsFalse) {
  EXPECT_TRUE(handler_.disableScreenSleep("first"));
  EXPECT_FALSE(handler_.disableScreenSleep("second"));
  EXPECT_TRUE(handler_.isIdleDisplaySleepDisabled());
  ASSERT_EQ(power_->creations.size(), 1u);
  EXPECT_EQ(power_->held.begin()->second.reason, "first");
  EXPECT_TRUE(handler_.enableScreenSleep());
  EXPECT_FALSE(handler_.isIdleDisplaySleepDisabled());
  EXPECT_TRUE(power_->held.empty());
}

TEST_F(SleepHandlerTest, ReleaseWithoutAnAssertionReportsFalse) {
  EXPECT_FALSE(handler_.isIdleDisplaySleepDisabled());
  EXPECT_FALSE(handler_.enableScreenSleep());
  EXPECT_TRUE(power_->releases.empty());
  EXPECT_TRUE(handler_.disableScreenSleep("reason"));
  EXPECT_TRUE(handler_.enableScreenSleep());
  EXPECT_FALSE(handler_.enableScreenSleep());
  EXPECT_EQ(power_->releases.size(), 1u);
}

TEST_F(SleepHandlerTest, FailedCreationHoldsNoAssertion) {
  power_->creationResult = 5;
  EXPECT_FALSE(handler_.disableScreenSleep("reason"));
  EXPECT_FALSE(handler_.isIdleDisplaySleepDisabled());
  EXPECT_FALSE(handler_.enableScreenSleep());
  EXPECT_TRUE(power_->releases.empty());
  power_->creationResult = 0;
  EXPECT_TRUE(handler_.disableScreenSleep("reason"));
}

TEST_F(SleepHandlerTest, FailedReleaseKeepsTheAssertion) {
  ASSERT_TRUE(handler_.disableScreenSleep("reason"));
  const std::uint32_t identifier = power_->held.begin()->first;
  power_->releaseResult = 5;
  EXPECT_FALSE(handler_.enableScreenSleep());
  EXPECT_TRUE(handler_.isIdleDisplaySleepDisabled());
  EXPECT_FALSE(handler_.disableScreenSleep("again"));
  power_->releaseResult = 0;
  EXPECT_TRUE(handler_.enableScreenSleep());
  EXPECT_EQ(power_->releases, (std::vector<std::uint32_t>{identifier, identifier}));
}

TEST_F(SleepHandlerTest, EachCallMakesANewAssertion) {
  for (int i = 0; i < 3; ++i) {
    EXPECT_TRUE(handler_.disableScreenSleep(std::to_string(i)));
    EXPECT_TRUE(handler_.enableScreenSleep());
  }
  EXPECT_EQ(power_->releases, (std::vector<std::uint32_t>{101, 102, 103}));
}

}  // namespace
