// SPDX-License-Identifier: MIT
// The waits for the disk of a synchronization: each list and each journal once.
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <string>
#include <thread>

#include "tests/Platform/Settings/FaultyFileSystem.hpp"
#include "tests/Platform/Settings/StoreFixture.hpp"
#include "tests/Platform/Settings/SynchronizedDisk.hpp"

namespace Tessaly::inline v1 {
namespace {

using Call = Tests::FaultyFileSystem::Call;
using Cut = Tests::SynchronizedDisk::PowerCut;

class Synchronization : public Tests::StoreFixture {
 protected:
  /// The calls of a synchronization, on the thread of the test. The watcher makes its own ones.
  struct Counts {
    int calls = 0;
    int waits = 0;
  };
  Counts countsOf(const Store& store) {
    counts_ = {};
    EXPECT_TRUE(store->synchronize());
    return counts_;
  }
  Store openCounting() { return open(counting_.system()); }

  /// The values that are left after a power cut now.
  Dictionary valuesAfterPowerCut(Cut::Entries entries) {
    const std::string left = above() + "/left" + std::to_string(++cuts_);
    disk_.restore(folder(), left, {.entries = entries});
    return JournaledUserDefaults::open({.folder = left, .clock = clock_})->dictionaryRepresentation();
  }

 private:
  Tests::SynchronizedDisk disk_;
  int cuts_ = 0;
  const std::thread::id thread_ = std::this_thread::get_id();
  Counts counts_;
  Tests::FaultyFileSystem counting_{[this](Call call, const std::string&) {
    if (std::this_thread::get_id() != thread_) return Tests::FaultyFileSystem::Fate{};
    ++counts_.calls;
    counts_.waits += call == Call::synchronize ? 1 : 0;
    return Tests::FaultyFileSystem::Fate{};
  }};
};

TEST_F(Synchronization, WithoutAChangeWaitsForNothing) {
  const Store store = openCounting();
  store->set(1, "a");
  const Counts first = countsOf(store);
  EXPECT_EQ(first.waits, 2);  // For the list and its directory.
  const Counts second = countsOf(store);
  EXPECT_EQ(second.waits, 0);
  EXPECT_LT(second.calls, first.calls / 2);
  EXPECT_EQ(countsOf(store).calls, second.calls);
}

TEST_F(Synchronization, CallsDoNotGrowWithTheKeys) {
  const Store store = openCounting();
  store->set(1, "a");
  ASSERT_TRUE(store->synchronize());
  store->set(2, "a");
  const Counts few = countsOf(store);
  UserDefaults::KeyedValues many;
  for (int i = 0; i < 20'000; ++i) many.insert_or_assign("key" + std::to_string(i), i);
  store->setValuesForKeys(many);
  const Counts counts = countsOf(store);
  EXPECT_EQ(counts.waits, few.waits);
  EXPECT_EQ(counts.calls, few.calls);
}

TEST_F(Synchronization, WaitsOnceForTheListOfAnotherProcess) {
  const Store other = open();
  const Store store = openCounting();
  for (int i = 0; i < 3; ++i) {
    other->set(i, "a");
    ASSERT_TRUE(other->synchronize());
    EXPECT_EQ(countsOf(store).waits, 2) << i;
    EXPECT_EQ(countsOf(store).waits, 0) << i;
  }
}

TEST_F(Synchronization, WaitsForTheListOfAKilledProcess) {
  const Store store = openCounting();
  store->set(1, "a");
  ASSERT_TRUE(store->synchronize());
  // A process that ends between the last change of the directory and the wait for it.
  Tests::FaultyFileSystem failing([&, synchronizations = 0](Call call, const std::string&) mutable {
    const bool fails = call == Call::synchronize && ++synchronizations > 1;
    return Tests::FaultyFileSystem::Fate{.errorCode = fails ? EIO : 0};
  });
  const Store killed = open(failing.system());
  killed->set(2, "a");
  EXPECT_FALSE(killed->synchronize());
  EXPECT_EQ(countsOf(store).waits, 2);
  EXPECT_EQ(valuesAfterPowerCut(Cut::Entries::synchronized), (Dictionary{{"a", 2}}));
  EXPECT_EQ(countsOf(store).waits, 0);
}

TEST_F(Synchronization, RepeatsAWaitThatFailed) {
  {
    open()->set(1, "a");
  }
  int waits = 0;
  Tests::FaultyFileSystem failing([&](Call call, const std::string&) {
    return Tests::FaultyFileSystem::Fate{.errorCode = call == Call::synchronize && ++waits == 1 ? EIO : 0};
  });
  const Store store = open(failing.system());
  EXPECT_FALSE(store->synchronize());
  waits = 1;
  EXPECT_TRUE(store->synchronize());
  EXPECT_EQ(waits, 3);
}

TEST_F(Synchronization, WaitsForARestoredJournal) {
  const Store store = openCounting();
  store->set(1, "a");
  ASSERT_TRUE(store->synchronize());
  const Store other = open();
  std::filesystem::resize_file(journal(), 0);
  other->set(2, "b");
  other->removeObject("b");
  ASSERT_TRUE(other->synchronize());
  EXPECT_EQ(countsOf(store).waits, 2);
  EXPECT_EQ(valuesAfterPowerCut(Cut::Entries::synchronized), (Dictionary{{"a", 1}}));
}

TEST_F(Synchronization, KeepsEqualValuesOfAnotherProgramsList) {
  const Store store = openCounting();
  store->set(1, "a");
  ASSERT_TRUE(store->synchronize());
  replace({{"a", 1}});  // Without a wait for the disk.
  EXPECT_GT(countsOf(store).waits, 0);
  EXPECT_EQ(valuesAfterPowerCut(Cut::Entries::latest), (Dictionary{{"a", 1}}));
  EXPECT_EQ(countsOf(store).waits, 0);
}

}  // namespace
}  // namespace Tessaly::inline v1
