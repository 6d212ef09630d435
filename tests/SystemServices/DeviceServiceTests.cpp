// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <memory>
#include <thread>

#include "Tessaly/Platform/Testing/ScriptedDevice.hpp"
#include "Tessaly/SystemServices/DeviceService.hpp"

namespace {

using namespace Tessaly;

class DeviceServiceTest : public testing::Test {
 protected:
  const std::shared_ptr<ScriptedDevice> device_ = std::make_shared<ScriptedDevice>();
  const DeviceBackendInstallation installation_{device_};
};

TEST_F(DeviceServiceTest, NameIsTheModelWithoutItsTerminatingZero) {
  device_->values["hw.model"] = "Workstation 7";
  EXPECT_EQ(DeviceService::deviceName(), "Workstation 7");
}

TEST_F(DeviceServiceTest, AsksForTheSizeAndThenForTheText) {
  device_->values["hw.model"] = "Workstation 7";
  static_cast<void>(DeviceService::deviceName());
  EXPECT_EQ(device_->calls, (std::vector<std::string>{"hw.model?", "hw.model"}));
}

TEST_F(DeviceServiceTest, UnknownModelGivesAnEmptyName) { EXPECT_EQ(DeviceService::deviceName(), ""); }

TEST_F(DeviceServiceTest, FailingSecondCallGivesAnEmptyName) {
  device_->values["hw.model"] = "A";
  device_->afterSize = [this] { device_->values["hw.model"] = "A longer name than there is room for"; };
  EXPECT_EQ(DeviceService::deviceName(), "");
}

TEST_F(DeviceServiceTest, SecondCallGivesTheLength) {
  device_->values["hw.model"] = "A long name";
  device_->afterSize = [this] { device_->values["hw.model"] = "Short"; };
  EXPECT_EQ(DeviceService::deviceName(), "Short");
}

TEST_F(DeviceServiceTest, EmptyModelGivesAnEmptyName) {
  device_->values["hw.model"] = "";
  EXPECT_EQ(DeviceService::deviceName(), "");
}

TEST_F(DeviceServiceTest, StandInIsReadWhileAnotherThreadAsks) {
  std::jthread other([] {
    for (int call = 0; call < 100; ++call) static_cast<void>(DeviceService::deviceName());
  });
  while (device_->snapshot().size() < 100) std::this_thread::yield();
  EXPECT_EQ(device_->snapshot().back(), "hw.model?");
}

}  // namespace
