// SPDX-License-Identifier: MIT
// Processes without descriptors or with a limit for the size of files, and property lists that cannot be read.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <atomic>
#include <cerrno>
#include <filesystem>
#include <string>

#include "tests/Platform/Settings/FaultyFileSystem.hpp"
#include "tests/Platform/Settings/StoreFixture.hpp"
#include "tests/Support/LoweredLimit.hpp"
#include "tests/Support/WaitUntil.hpp"

namespace Tessaly::inline v1 {
namespace {

using Tests::FaultyFileSystem;
using Tests::waitUntil;

class StoreLimits : public Tests::StoreFixture {};

#if !__has_feature(address_sanitizer)  // Its runtime needs descriptors of its own.
TEST_F(StoreLimits, FirstUseWithoutAFreeDescriptorKeepsValuesInMemory) {
  Store store;
  {
    const Tests::LoweredLimit limit(RLIMIT_NOFILE, 0);
    store = JournaledUserDefaults::open({.folder = folder()});
    store->set(1, "a");
    EXPECT_EQ(store->value("a"), 1);
    EXPECT_EQ(store->status().problem, UserDefaultsProblem::systemError);
    EXPECT_EQ(store->status().errorCode, EMFILE);
    EXPECT_FALSE(store->synchronize());
  }
  store->set(2, "b");
  EXPECT_EQ(stored(), (Dictionary{{"a", 1}, {"b", 2}}));
  EXPECT_EQ(store->status().problem, UserDefaultsProblem::none);
  EXPECT_TRUE(waitUntil([&] { return std::filesystem::exists(plist()); }));
}
#endif

TEST_F(StoreLimits, LimitOfFileSizesIsLikeAFullDisk) {
  const Store store = open();
  store->set(1, "a");
  {
    const Tests::LoweredLimit limit(RLIMIT_FSIZE, 4096);
    store->set(std::string(10'000, 'x'), "large");
    EXPECT_EQ(store->status().problem, UserDefaultsProblem::diskFull);
    EXPECT_EQ(store->value("large")->text()->size(), 10'000u);
    EXPECT_FALSE(store->synchronize());
  }
  EXPECT_TRUE(store->synchronize());
  EXPECT_EQ(onDisk().dictionary()->size(), 2u);
}

TEST_F(StoreLimits, LimitForTheSizeOfFilesStopsNoCheckpoint) {
  const Store store = open();
  store->set(std::string(10'000, 'x'), "large");
  const Tests::LoweredLimit limit(RLIMIT_FSIZE, 100);
  EXPECT_FALSE(store->synchronize());
  EXPECT_EQ(store->status().problem, UserDefaultsProblem::diskFull);
}

TEST_F(StoreLimits, UnreadablePropertyListIsNamedAndReadLater) {
  makeFolder();
  replace({{"a", 1}});
  std::atomic<bool> isForbidden = true;
  FaultyFileSystem files([&](FaultyFileSystem::Call call, const std::string& path) -> FaultyFileSystem::Fate {
    return call == FaultyFileSystem::Call::open && path == plist() && isForbidden
               ? FaultyFileSystem::Fate{.errorCode = EACCES}
               : FaultyFileSystem::Fate{};
  });
  const Store store = open(files.system());
  EXPECT_EQ(store->value("a"), std::nullopt);
  EXPECT_EQ(store->status().problem, UserDefaultsProblem::unreadablePropertyList);
  EXPECT_EQ(store->status().errorCode, EACCES);
  ASSERT_EQ(store->status().problems.size(), 1u);
  EXPECT_EQ(store->status().problems[0].file, plist());
  EXPECT_EQ(store->status().problems[0].effect, UserDefaultsEffect::notRead);
  isForbidden = false;
  EXPECT_TRUE(waitUntil([&] {
    clock_.advance(JournaledUserDefaults::damageDelay * 3);
    return store->value("a") == PropertyList(1);
  }));
  EXPECT_EQ(store->status().problem, UserDefaultsProblem::none);
}

TEST_F(StoreLimits, DamagedPropertyListIsToldAtOnce) {
  makeFolder();
  write(plist(), "damaged");
  for (int process = 0; process < 3; ++process) {
    Store store = open();
    EXPECT_EQ(store->status().problem, UserDefaultsProblem::damagedPropertyList);
    EXPECT_EQ(store->status().problems.front().effect, UserDefaultsEffect::notRead);
    store->set(process, "a");
    EXPECT_EQ(store->value("a"), process);
    EXPECT_EQ(store->status().problem, UserDefaultsProblem::damagedPropertyList);
    store.reset();  // Time stands still, so that no process repairs the list.
  }
  EXPECT_EQ(stored(), (Dictionary{{"a", 2}}));
}

TEST_F(StoreLimits, DeepestValueIsStoredAndReadAgain) {
  PropertyList value = 1;
  while (value.depth() < PropertyList::maximumDepth - 1) value = PropertyList::Array{value};
  const Store store = open();
  store->set(value, "deepest");
  store->set(PropertyList::Array{value}, "deeper");
  EXPECT_EQ(store->status().problem, UserDefaultsProblem::valueTooLarge);
  EXPECT_TRUE(store->synchronize());
  EXPECT_EQ(onDisk(), PropertyList(Dictionary{{"deepest", value}}));
  EXPECT_EQ(stored(), (Dictionary{{"deepest", value}}));
}

}  // namespace
}  // namespace Tessaly::inline v1
