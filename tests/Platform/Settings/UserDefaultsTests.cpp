// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>

#include "Tessaly/Core/Foundation/Bundle.hpp"
#include "Tessaly/Platform/Linux/SettingsFiles.hpp"
#include "Tessaly/Platform/Settings/UserDefaults.hpp"
#include "Tessaly/Platform/Testing/InMemoryUserDefaults.hpp"
#include "tests/Support/TemporaryFolder.hpp"

namespace Tessaly::inline v1 {
namespace {

using Tests::TemporaryFolder;

/// The folder of the user's configuration while this process lives. The store writes there once more when it ends, so
/// the folder goes after that.
const std::string& configuration() {
  static TemporaryFolder& folder = *new TemporaryFolder;
  static const bool isPrepared = [] {
    ::setenv("XDG_CONFIG_HOME", folder.path().c_str(), 1);
    return std::atexit([] { delete &folder; }) == 0;
  }();
  EXPECT_TRUE(isPrepared);
  return folder.path();
}

TEST(UserDefaults, StoreWithoutBatchesStoresOneValueAfterTheOther) {
  const auto settings = InMemoryUserDefaults::make();
  settings->set(1, "gone");
  settings->UserDefaults::setValuesForKeys({{"a", 2}, {"b", "text"}, {"gone", std::nullopt}});
  EXPECT_EQ(settings->dictionaryRepresentation(), (PropertyList::Dictionary{{"a", 2}, {"b", "text"}}));
  settings->UserDefaults::publishKeys({});
  EXPECT_TRUE(settings->UserDefaults::publishedKeys().empty());
}

TEST(UserDefaults, StandsInTheDirectoryOfTheBundlesIdentifier) {
  const std::string& home = configuration();
  Bundle::setMain({.identifier = "org.example.player"});
  UserDefaults::standard()->set(1, "a");
  EXPECT_EQ(UserDefaults::standard()->status().folder, home + "/org.example.player");
  EXPECT_TRUE(UserDefaults::standard()->synchronize());
  EXPECT_TRUE(std::filesystem::exists(home + "/org.example.player/Settings.plist"));
}

TEST(UserDefaults, StandsUnderTheExecutablesNameWithoutAnIdentifier) {
  const std::string& home = configuration();
  EXPECT_EQ(UserDefaults::standard()->status().folder, home + "/SettingsTests");
}

TEST(UserDefaults, IsReplacedAndComesBack) {
  configuration();
  const auto& system = UserDefaults::standard();
  {
    const auto fake = InMemoryUserDefaults::make();
    const UserDefaultsInstallation installation(fake);
    EXPECT_EQ(UserDefaults::standard(), fake);
  }
  EXPECT_EQ(UserDefaults::standard(), system);
}

TEST(UserDefaults, AreInTheConfigurationOrTheHomeDirectory) {
  ::setenv("HOME", "/home/me", 1);
  ::setenv("XDG_CONFIG_HOME", "/config", 1);
  EXPECT_EQ(detail::settingsDirectory("app"), "/config/app");
  ::setenv("XDG_CONFIG_HOME", "relative", 1);
  EXPECT_EQ(detail::settingsDirectory("app"), "/home/me/.config/app");
  ::unsetenv("XDG_CONFIG_HOME");
  EXPECT_EQ(detail::settingsDirectory("app"), "/home/me/.config/app");
  ::setenv("HOME", "relative", 1);
  EXPECT_EQ(detail::settingsDirectory("app"), std::nullopt);
}

TEST(UserDefaults, HaveNoDirectoryForAnImpossibleIdentifier) {
  ::setenv("XDG_CONFIG_HOME", "/config", 1);
  using namespace std::string_literals;
  for (const std::string& identifier : {""s, "."s, ".."s, "a/b"s, "a\0b"s, std::string(300, 'a')}) {
    EXPECT_EQ(detail::settingsDirectory(identifier), std::nullopt) << identifier;
  }
}

TEST(UserDefaultsDeathTest, WriteThePropertyListAtANormalExit) {
  const TemporaryFolder home;
  ::setenv("XDG_CONFIG_HOME", home.path().c_str(), 1);
  EXPECT_EXIT(
      {
        UserDefaults::standard()->set(1, "a");
        std::exit(0);
      },
      ::testing::ExitedWithCode(0), "");
  EXPECT_TRUE(std::filesystem::exists(home.path() + "/SettingsTests/Settings.plist"));
}

}  // namespace
}  // namespace Tessaly::inline v1
