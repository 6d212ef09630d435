// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <string>

#include "Tessaly/Platform/Linux/FirmwareDevice.hpp"
#include "tests/Support/TemporaryFolder.hpp"

namespace {

using namespace Tessaly;

class FirmwareDeviceTest : public testing::Test {
 protected:
  void write(const std::string& path, std::string_view bytes) const {
    const std::filesystem::path file = root_.path() + path;
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << bytes;
  }
  [[nodiscard]] std::string model() {
    std::size_t size = 0;
    if (device_.sysctlbyname("hw.model", nullptr, &size) != 0) return "none";
    std::string text(size, 'x');
    EXPECT_EQ(device_.sysctlbyname("hw.model", text.data(), &size), 0);
    EXPECT_EQ(size, text.size());
    EXPECT_EQ(text.back(), '\0');
    text.pop_back();
    return text;
  }

  const Tests::TemporaryFolder root_;
  FirmwareDevice device_{root_.path()};
};

constexpr const char* dmi = "/sys/class/dmi/id/product_name";
constexpr const char* tree = "/sys/firmware/devicetree/base/model";

TEST_F(FirmwareDeviceTest, ReadsTheFirmwaresTablesWithoutSurroundingSpace) {
  write(dmi, "  Workstation 7  \n");
  EXPECT_EQ(model(), "Workstation 7");
  EXPECT_EQ(device_.source(), DeviceSource::dmi);
}

TEST_F(FirmwareDeviceTest, ReadsTheDeviceTreeUpToTheFirstZero) {
  write(tree, std::string_view("Small Board 4\0rest", 18));
  EXPECT_EQ(model(), "Small Board 4");
  EXPECT_EQ(device_.source(), DeviceSource::deviceTree);
}

TEST_F(FirmwareDeviceTest, ReadsTheDeviceTreeAtItsOlderPath) {
  write("/proc/device-tree/model", "Old Board");
  EXPECT_EQ(model(), "Old Board");
}

TEST_F(FirmwareDeviceTest, PrefersTheFirmwaresTablesUnlessTheyAreBlank) {
  write(dmi, "Workstation 7\n");
  write(tree, "Small Board 4");
  EXPECT_EQ(model(), "Workstation 7");
  write(dmi, " \n");
  EXPECT_EQ(model(), "Small Board 4");
}

TEST_F(FirmwareDeviceTest, WithoutBothThereIsNoModel) {
  EXPECT_EQ(model(), "none");
  EXPECT_EQ(device_.source(), DeviceSource::none);
}

TEST_F(FirmwareDeviceTest, OtherNamesAreUnknown) {
  write(dmi, "Workstation 7\n");
  std::size_t size = 7;
  EXPECT_EQ(device_.sysctlbyname("hw.ncpu", nullptr, &size), ENOENT);
  EXPECT_EQ(size, 7u);
}

TEST_F(FirmwareDeviceTest, TooSmallBufferIsRefusedUnchanged) {
  write(dmi, "Model\n");
  char buffer[6] = {'a'};
  std::size_t size = 5;
  EXPECT_EQ(device_.sysctlbyname("hw.model", buffer, &size), ENOMEM);
  EXPECT_EQ(buffer[0], 'a');
  size = 6;
  EXPECT_EQ(device_.sysctlbyname("hw.model", buffer, &size), 0);
  EXPECT_STREQ(buffer, "Model");
}

TEST_F(FirmwareDeviceTest, AcceptsArbitraryBytesUpToAPage) {
  write(dmi, std::string(100'000, '\xff'));
  EXPECT_EQ(model(), std::string(4096, '\xff'));
}

TEST_F(FirmwareDeviceTest, DirectoryInPlaceOfTheFileIsNoModel) {
  std::filesystem::create_directories(root_.path() + dmi);
  EXPECT_EQ(model(), "none");
}

}  // namespace
