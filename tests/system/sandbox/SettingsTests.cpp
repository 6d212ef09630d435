// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#include "Tessaly/Platform/Settings/UserDefaults.hpp"
#include "tests/Support/TemporaryFolder.hpp"
#include "tests/system/sandbox/SandboxRoot.hpp"

namespace {

using namespace Tessaly;

TEST(SandboxedSettings, AreInTheDirectoryThatTheSandboxGives) {
  if (!Tests::reasonForNoSandbox().empty()) GTEST_SKIP() << Tests::reasonForNoSandbox();
  const Tests::TemporaryFolder home;
  const Tests::TemporaryFolder given;
  ::setenv("HOME", home.path().c_str(), 1);
  ::setenv("XDG_CONFIG_HOME", given.path().c_str(), 1);
  UserDefaults::standard()->set(1, "a");
  EXPECT_TRUE(UserDefaults::standard()->synchronize());
  EXPECT_TRUE(std::filesystem::exists(given.path() + "/SystemSandboxTests/Settings.plist"));
  EXPECT_TRUE(std::filesystem::is_empty(home.path()));
}

}  // namespace
