// SPDX-License-Identifier: MIT
// Stores and file watchers that share the process's inotify instance.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "Tessaly/Core/Foundation/URL.hpp"
#include "Tessaly/Core/Tasks/OS_dispatch_queue.hpp"
#include "Tessaly/Platform/Files/FileManager.hpp"
#include "tests/Platform/Settings/StoreFixture.hpp"
#include "tests/Support/InotifyWatches.hpp"
#include "tests/Support/Repetitions.hpp"
#include "tests/Support/UnreadEvents.hpp"
#include "tests/Support/WaitUntil.hpp"

namespace Tessaly::inline v1 {
namespace {

using Tests::inotifyDescriptors;
using Tests::waitUntil;
using Tests::watchCount;

class SettingsWatcher : public Tests::StoreFixture {
 protected:
  Store openIn(const std::string& name) {
    return JournaledUserDefaults::open({.folder = above() + "/" + name, .clock = clock_});
  }
  static bool reads(const Store& store, std::string_view key, const PropertyList& value) {
    return waitUntil([&] { return store->value(key) == value; });
  }
  /// A source that follows the directory already.
  static std::unique_ptr<DirectorySource> watchDirectory(const std::string& path, std::atomic<int>& calls) {
    auto source = FileManager::default_().makeDirectorySource(URL::fileURLWithPath(path), DirectoryDepth::entries,
                                                              [&calls] { ++calls; });
    static_cast<void>(source->takeChanges());
    return source;
  }
};

TEST_F(SettingsWatcher, ProcessHasOneInotifyInstance) {
  write(above() + "/file", "text");
  std::atomic<int> calls = 0;
  const Store first = openIn("first");
  const Store second = openIn("second");
  const Store third = openIn("third");
  const auto directory = watchDirectory(above(), calls);
  const URL file = URL::fileURLWithPath(above() + "/file");
  const auto onChange = [&calls] { ++calls; };
  const auto changes = FileManager::default_().makeFileChangeSource(file, onChange);
  const auto others = FileManager::default_().makeFileChangeSource(file, onChange);
  static_cast<void>(changes->takeChange());
  static_cast<void>(others->takeChange());
  calls = 0;
  EXPECT_EQ(inotifyDescriptors().size(), 1u);
  openIn("first")->set(1, "a");
  openIn("second")->set(2, "a");
  openIn("third")->set(3, "a");
  EXPECT_TRUE(reads(first, "a", 1));
  EXPECT_TRUE(reads(second, "a", 2));
  EXPECT_TRUE(reads(third, "a", 3));
  write(above() + "/file", "longer text");
  EXPECT_TRUE(waitUntil([&] { return calls >= 3; }));
  EXPECT_EQ(inotifyDescriptors().size(), 1u);
}

TEST_F(SettingsWatcher, EndOfAFileWatcherLeavesTheStoreItsWatch) {
  const Store store = open();
  std::atomic<int> calls = 0;
  watchDirectory(folder(), calls).reset();
  open()->set(1, "a");
  EXPECT_TRUE(reads(store, "a", 1));
}

TEST_F(SettingsWatcher, EndOfAStoreLeavesTheFileWatcherItsWatch) {
  Store store = open();
  std::atomic<int> calls = 0;
  const auto directory = watchDirectory(folder(), calls);
  store.reset();
  write(folder() + "/other", "text");
  EXPECT_TRUE(waitUntil([&] {
    return std::ranges::any_of(directory->takeChanges(),
                               [](const auto& change) { return change.entry.path == "other"; });
  }));
}

TEST_F(SettingsWatcher, DirectoryThatWasMovedAwayIsNoLongerWatched) {
  const Store store = open();
  const std::ptrdiff_t before = watchCount();
  std::filesystem::rename(folder(), above() + "/away");
  EXPECT_TRUE(store->synchronize());
  open()->set(1, "a");
  EXPECT_TRUE(reads(store, "a", 1));
  EXPECT_TRUE(waitUntil([&] { return watchCount() == before; })) << watchCount() << " after " << before;
}

TEST_F(SettingsWatcher, EndOfAStoreEndsItsWatches) {
  const Store other = openIn("other");
  const std::ptrdiff_t before = watchCount();
  {
    const Store store = open();
    EXPECT_EQ(watchCount(), before + 1);
  }
  EXPECT_EQ(watchCount(), before);
}

class SettingsWatcherOverflow : public SettingsWatcher {
 protected:
  void SetUp() override {
    const int length = Tests::lengthOfEventQueue();
    if (length == 0 || length > 200'000) GTEST_SKIP() << "the kernel's queue holds " << length << " events";
  }
};

TEST_F(SettingsWatcherOverflow, LostMoveOfTheDirectoryIsNoticed) {
  const Store store = open();
  {
    const Tests::UnreadEvents unread;
    write(folder() + "/other", "text");
    Tests::overflowEventQueues(folder() + "/other");
    std::filesystem::rename(folder(), above() + "/away");
    makeFolder();
  }
  const Store other = open();
  // The event of the overflow may show the first values.
  for (int i = 0; i < 5; ++i) {
    other->set(i, "a");
    ASSERT_TRUE(reads(store, "a", i)) << i;
  }
}

TEST_F(SettingsWatcherOverflow, LostEventsAreMadeUpFor) {
  const Store store = open();
  store->set(1, "a");
  ASSERT_TRUE(store->synchronize());
  {
    const Tests::UnreadEvents unread;
    write(folder() + "/other", "text");
    Tests::overflowEventQueues(folder() + "/other");
    replace({{"a", 2}});
  }
  EXPECT_TRUE(reads(store, "a", 2));
}

/// Releases a store at its first call.
class Releasing final : public KeyValueObserver {
 public:
  explicit Releasing(std::function<void()> release) : release_(std::move(release)) {}
  void observeValue(std::optional<std::string_view>, const Object*, const std::optional<KeyValueChange>&,
                    void*) override {
    release_();
  }

 private:
  const std::function<void()> release_;
};

TEST_F(SettingsWatcher, ObserverMayReleaseItsStore) {
  Store store = open();
  std::atomic<bool> isReleased = false;
  const auto observer = std::make_shared<Releasing>([&] {
    store.reset();
    isReleased = true;
  });
  store->addObserver(observer, "a", KeyValueObservingOptions::newValue, nullptr);
  const Store other = open();
  other->set(1, "a");
  EXPECT_TRUE(waitUntil([&] { return isReleased.load(); }));
  other->set(2, "a");
  EXPECT_EQ(stored(), (Dictionary{{"a", 2}}));
}

TEST_F(SettingsWatcher, StoresEndInAnyOrderDuringEvents) {
  for (int round = 0; round < Tests::repetitions(12); ++round) {
    std::atomic<int> calls = 0;
    std::atomic<bool> isOver = false;
    std::vector<Store> stores{open(), openIn("second"), open()};
    auto directory = watchDirectory(folder(), calls);
    std::jthread writing([&, writer = open()] {
      for (int i = 0; !isOver; ++i) {
        writer->set(i, "a");
        write(above() + "/second/other", "");
      }
    });
    EXPECT_TRUE(waitUntil([&] { return calls > 0; }));
    std::ranges::rotate(stores, stores.begin() + round % 3);
    if (round % 2 == 0) directory.reset();
    stores.clear();
    directory.reset();
    isOver = true;
  }
  EXPECT_EQ(inotifyDescriptors().size(), 1u);
  EXPECT_EQ(watchCount(), 0);
}

}  // namespace
}  // namespace Tessaly::inline v1
