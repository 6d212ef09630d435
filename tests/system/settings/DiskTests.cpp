// SPDX-License-Identifier: MIT
// A store on a full disk, and in a directory that may only be read. Each test mounts a small file system that only its
// process sees.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "Tessaly/Core/Foundation/PropertyListSerialization.hpp"
#include "Tessaly/Platform/Linux/JournaledUserDefaults.hpp"
#include "Tessaly/Platform/Testing/RecordingLogBackend.hpp"
#include "tests/Support/LastingClock.hpp"
#include "tests/Support/MemoryVolume.hpp"
#include "tests/Support/WaitUntil.hpp"

namespace Tessaly::inline v1 {
namespace {

using Dictionary = PropertyList::Dictionary;
using Tests::waitUntil;

class SettingsDisk : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!disk_.reason().empty()) GTEST_SKIP() << disk_.reason();
  }

  std::shared_ptr<JournaledUserDefaults> open() {
    return JournaledUserDefaults::open({.folder = folder(), .clock = clock_});
  }
  Dictionary stored() {
    return JournaledUserDefaults::open({.folder = folder(), .opening = JournaledUserDefaults::Opening::forReading})
        ->dictionaryRepresentation();
  }
  [[nodiscard]] std::string disk() const { return disk_.path(); }
  [[nodiscard]] std::string folder() const { return disk_.path("org.example.test"); }
  [[nodiscard]] std::string filler() const { return disk_.path("filler"); }

  void fill() { EXPECT_TRUE(disk_.fill("filler")); }

  ManualClock& clock_ = Tests::lastingClock();

 private:
  Tests::MemoryVolume disk_{"4m"};
};

TEST_F(SettingsDisk, FullKeepsWritesInMemoryUntilThereIsRoom) {
  const auto log = std::make_shared<RecordingLogBackend>();
  const LogBackendInstallation installation(log);
  const auto store = open();
  store->set("before", "a");
  ASSERT_TRUE(store->synchronize());
  fill();
  // The room of the journal is already allocated.
  store->set("in the journal", "b");
  EXPECT_EQ(store->status().problem, UserDefaultsProblem::none);
  EXPECT_EQ(stored(), (Dictionary{{"a", "before"}, {"b", "in the journal"}}));
  // A text that does not fit into that room.
  const std::string large(500'000, 'y');
  store->set(large, "large");
  EXPECT_EQ(store->status().problem, UserDefaultsProblem::diskFull);
  EXPECT_EQ(store->status().errorCode, ENOSPC);
  EXPECT_EQ(store->status().unstoredKeys, 1);
  EXPECT_EQ(*store->value("large")->text(), large);
  store->set("still fits", "c");
  EXPECT_FALSE(store->synchronize());
  EXPECT_EQ(stored(), (Dictionary{{"a", "before"}, {"b", "in the journal"}, {"c", "still fits"}}));
  EXPECT_EQ(log->records().size(), 1u);

  std::filesystem::remove(filler());
  clock_.advance(JournaledUserDefaults::retryDelay);
  EXPECT_TRUE(waitUntil([&] { return stored().contains("large"); }));
  EXPECT_TRUE(store->synchronize());
  EXPECT_EQ(store->status().problem, UserDefaultsProblem::none);
  EXPECT_EQ(stored().size(), 4u);
}

TEST_F(SettingsDisk, InitiallyFullDiskServesFromMemory) {
  fill();
  const auto store = open();
  store->set(1, "a");
  EXPECT_EQ(store->value("a"), 1);
  EXPECT_EQ(store->status().problem, UserDefaultsProblem::diskFull);
  std::filesystem::remove(filler());
  EXPECT_TRUE(store->synchronize());
  EXPECT_EQ(stored(), (Dictionary{{"a", 1}}));
}

TEST_F(SettingsDisk, ReadOnlyDiskKeepsChangesInMemory) {
  const auto log = std::make_shared<RecordingLogBackend>();
  const LogBackendInstallation installation(log);
  open()->set(1, "a");
  ASSERT_EQ(::mount("none", disk().c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0) << std::strerror(errno);
  const auto store = open();
  EXPECT_EQ(store->status().problem, UserDefaultsProblem::readOnly);
  EXPECT_EQ(store->value("a"), 1);
  store->set(2, "a");
  store->set(3, "b");
  EXPECT_EQ(store->dictionaryRepresentation(), (Dictionary{{"a", 2}, {"b", 3}}));
  EXPECT_EQ(store->status().unstoredKeys, 2);
  EXPECT_FALSE(store->synchronize());
  EXPECT_EQ(stored(), (Dictionary{{"a", 1}}));
  EXPECT_EQ(log->records().size(), 1u);

  ASSERT_EQ(::mount("none", disk().c_str(), nullptr, MS_REMOUNT, nullptr), 0) << std::strerror(errno);
  store->set(4, "c");
  EXPECT_EQ(store->status().problem, UserDefaultsProblem::none);
  EXPECT_EQ(stored(), (Dictionary{{"a", 2}, {"b", 3}, {"c", 4}}));
}

TEST_F(SettingsDisk, ReadOnlyWithoutAnyJournalReadsThePropertyList) {
  std::filesystem::create_directory(folder());
  std::ofstream(folder() + "/Settings.plist")
      << PropertyListSerialization::data(Dictionary{{"a", 1}}, PropertyListFormat::xml).text();
  ASSERT_EQ(::mount("none", disk().c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0) << std::strerror(errno);
  const auto store = open();
  EXPECT_EQ(store->value("a"), 1);
  store->set(2, "a");
  EXPECT_EQ(store->value("a"), 2);
  EXPECT_EQ(store->status().problem, UserDefaultsProblem::readOnly);
}

TEST_F(SettingsDisk, UserWithoutAHomeUsesMemory) {
  // The system does not know this user: the file of users is empty and no service adds one.
  std::ofstream(disk() + "/passwd");
  std::ofstream(disk() + "/nsswitch.conf") << "passwd: files\n";
  for (const std::string name : {"passwd", "nsswitch.conf"}) {
    ASSERT_EQ(::mount((disk() + '/' + name).c_str(), ("/etc/" + name).c_str(), nullptr, MS_BIND, nullptr), 0)
        << std::strerror(errno);
  }
  ::unsetenv("HOME");
  ::unsetenv("XDG_CONFIG_HOME");
  const auto& store = UserDefaults::standard();
  store->set(1, "a");
  EXPECT_EQ(store->value("a"), 1);
  EXPECT_EQ(store->status().problem, UserDefaultsProblem::noFolder);
  EXPECT_EQ(store->status().folder, "");
  EXPECT_FALSE(store->synchronize());
  ::umount2("/etc/passwd", MNT_DETACH);
  ::umount2("/etc/nsswitch.conf", MNT_DETACH);
}

TEST_F(SettingsDisk, OfAUserWithAMissingHomeServesFromMemory) {
  ::setenv("HOME", "/proc/nobody", 1);
  ::unsetenv("XDG_CONFIG_HOME");
  const auto& store = UserDefaults::standard();
  store->set(1, "a");
  EXPECT_EQ(store->value("a"), 1);
  EXPECT_NE(store->status().problem, UserDefaultsProblem::none);
  EXPECT_EQ(store->status().unstoredKeys, 1);
  EXPECT_FALSE(store->synchronize());
}

TEST_F(SettingsDisk, OfAnImpossibleDirectoryServesFromMemory) {
  std::ofstream(folder()) << "a file where the folder should be";
  const auto store = open();
  store->set(1, "a");
  EXPECT_EQ(store->value("a"), 1);
  EXPECT_EQ(store->status().problem, UserDefaultsProblem::systemError);
  EXPECT_EQ(store->status().errorCode, ENOTDIR);
}

}  // namespace
}  // namespace Tessaly::inline v1
