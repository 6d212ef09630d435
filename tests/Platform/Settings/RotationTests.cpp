// SPDX-License-Identifier: MIT
// A journal that becomes the old one: no fault there replaces a file that holds the only copy of a value.
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <functional>
#include <string>
#include <utility>

#include "tests/Platform/Settings/FaultyFileSystem.hpp"
#include "tests/Platform/Settings/StoreFixture.hpp"

namespace Tessaly::inline v1 {
namespace {

using Tests::FaultyFileSystem;
using Call = FaultyFileSystem::Call;
using Fate = FaultyFileSystem::Fate;

using SettingsRotation = Tests::StoreFixture;

TEST_F(SettingsRotation, OldJournalThatCannotBeSeenIsNotReplaced) {
  std::atomic<bool> isBlind = false;
  std::atomic<bool> canWriteList = false;
  FaultyFileSystem files([&](Call call, const std::string& path) -> Fate {
    if (call == Call::open && path.contains("Settings.plist.new")) return {.errorCode = canWriteList ? 0 : ENOSPC};
    return {.errorCode = isBlind && call == Call::status && path == journal() + ".old" ? EIO : 0};
  });
  {
    const Store store = open(files.system());
    store->set(1, "a");
    EXPECT_FALSE(store->synchronize());  // The record is in the old journal now, and in no list.
    store->set(2, "b");
    isBlind = true;
    EXPECT_FALSE(store->synchronize());
    EXPECT_EQ(stored(), (Dictionary{{"a", 1}, {"b", 2}}));
    isBlind = false;
    canWriteList = true;
    EXPECT_TRUE(store->synchronize());
  }
  EXPECT_EQ(stored(), (Dictionary{{"a", 1}, {"b", 2}}));
}

TEST_F(SettingsRotation, JournalMadeMeanwhileStaysOnAVolumeWithoutLinks) {
  std::function<void()> beforeSecondRename;
  FaultyFileSystem files([&](Call call, const std::string& path) -> Fate {
    const bool isSecond = call == Call::rename && path.contains("journal.new");
    if (isSecond && beforeSecondRename) std::exchange(beforeSecondRename, nullptr)();
    return {.errorCode = call == Call::link ? EPERM : 0};
  });
  const Store store = open(files.system());
  store->set(1, "a");
  Store other;
  beforeSecondRename = [&] {
    other = open();
    other->set(2, "b");
  };
  static_cast<void>(store->synchronize());
  EXPECT_FALSE(beforeSecondRename);
  EXPECT_EQ(stored(), (Dictionary{{"a", 1}, {"b", 2}}));
  EXPECT_TRUE(store->synchronize());
  EXPECT_EQ(stored(), (Dictionary{{"a", 1}, {"b", 2}}));
}

}  // namespace
}  // namespace Tessaly::inline v1
