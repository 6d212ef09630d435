// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <map>
#include <string>

#include "Tessaly/FoundationExtensions/ProcessInfo+Extensions.hpp"

namespace Tessaly {
namespace {

using Environment = std::map<std::string, std::string>;

TEST(ProcessInfoExtensions, EnvironmentVariablesOfAnyValueShowTestsAndSandboxes) {
  const ProcessInfo plain({.environment = Environment{{"APP_SANDBOX_CONTAINER", "x"}}});
  EXPECT_FALSE(isRunningTests(plain));
  EXPECT_FALSE(isSandboxed(plain));
  const ProcessInfo both(
      {.environment = Environment{{"XCTestConfigurationFilePath", ""}, {"APP_SANDBOX_CONTAINER_ID", ""}}});
  EXPECT_TRUE(isRunningTests(both));
  EXPECT_TRUE(isSandboxed(both));
}

TEST(ProcessInfoExtensions, TheVersionAlwaysHasThreeParts) {
  EXPECT_EQ(osVersionString(ProcessInfo({.operatingSystemVersion = OperatingSystemVersion{15, 0, 0}})), "15.0.0");
  EXPECT_EQ(osVersionString(ProcessInfo({.operatingSystemVersion = OperatingSystemVersion{14, 2, 1}})), "14.2.1");
  EXPECT_EQ(osName(ProcessInfo::processInfo()), "macOS");
}

}  // namespace
}  // namespace Tessaly
