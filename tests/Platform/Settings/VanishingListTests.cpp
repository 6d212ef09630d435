// SPDX-License-Identifier: MIT
// A property list that another program removes between two of the store's calls.
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <string>
#include <utility>

#include "tests/Platform/Settings/FaultyFileSystem.hpp"
#include "tests/Platform/Settings/StoreFixture.hpp"

namespace Tessaly::inline v1 {
namespace {

using Tests::FaultyFileSystem;
using Call = FaultyFileSystem::Call;

class VanishingList : public Tests::StoreFixture {
 protected:
  /// Called before the next call for the list, if the call is of this kind.
  Call call_ = Call::open;
  std::function<void()> beforeCall_;

  FaultyFileSystem files_{[this](Call call, const std::string& path) -> FaultyFileSystem::Fate {
    if (call == call_ && path == plist()) {
      if (const auto body = std::exchange(beforeCall_, nullptr)) body();
    }
    return {};
  }};
};

TEST_F(VanishingList, ListRemovedAfterTheLookIsAbsent) {
  const Store store = open(&files_);
  store->set(1, "a");
  ASSERT_TRUE(store->synchronize());
  std::filesystem::remove(plist());
  ASSERT_TRUE(store->synchronize());
  replace({{"b", 2}});
  bool wasRemoved = false;
  beforeCall_ = [&] { wasRemoved = std::filesystem::remove(plist()); };
  EXPECT_TRUE(store->synchronize());
  EXPECT_TRUE(wasRemoved);
  EXPECT_TRUE(store->status().problems.empty());
  EXPECT_EQ(onDisk(), PropertyList(Dictionary{{"a", 1}}));
}

TEST_F(VanishingList, ListThatReturnsDuringTheFirstReadIsRead) {
  makeFolder();
  replace({{"a", 1}});
  beforeCall_ = [&] {
    std::filesystem::rename(plist(), above() + "/away");
    call_ = Call::status;
    beforeCall_ = [&] { std::filesystem::rename(above() + "/away", plist()); };
  };
  const Store store = open(&files_);
  EXPECT_FALSE(store->value("a").has_value());
  EXPECT_TRUE(store->synchronize());
  EXPECT_EQ(store->value("a"), 1);
  EXPECT_TRUE(store->status().problems.empty());
}

}  // namespace
}  // namespace Tessaly::inline v1
