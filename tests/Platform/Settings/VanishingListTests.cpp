// SPDX-License-Identifier: MIT
// A property list that another program removes between two of the store's calls.
#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <functional>
#include <string>
#include <utility>

#include "Tessaly/Core/Locks/UnfairLock.hpp"
#include "tests/Platform/Settings/FaultyFileSystem.hpp"
#include "tests/Platform/Settings/StoreFixture.hpp"

namespace Tessaly::inline v1 {
namespace {

using Tests::FaultyFileSystem;
using Call = FaultyFileSystem::Call;

class VanishingList : public Tests::StoreFixture {
 protected:
  /// Calls the body once, before the next call of this kind for the list. The watcher's thread may make that call.
  void beforeNext(Call call, std::function<void()> body) {
    const UnfairLock::Guard guard(lock_);
    call_ = call;
    body_ = std::move(body);
  }

  FaultyFileSystem files_{[this](Call call, const std::string& path) -> FaultyFileSystem::Fate {
    if (path != plist()) return {};
    if (const auto body = take(call)) body();
    return {};
  }};

 private:
  std::function<void()> take(Call call) {
    const UnfairLock::Guard guard(lock_);
    return call == call_ ? std::exchange(body_, nullptr) : nullptr;
  }

  UnfairLock lock_;
  Call call_ TESSALY_GUARDED_BY(lock_) = Call::open;
  std::function<void()> body_ TESSALY_GUARDED_BY(lock_);
};

TEST_F(VanishingList, ListRemovedAfterTheLookIsAbsent) {
  const Store store = open(files_.system());
  store->set(1, "a");
  ASSERT_TRUE(store->synchronize());
  std::filesystem::remove(plist());
  ASSERT_TRUE(store->synchronize());
  std::atomic<bool> wasRemoved = false;
  beforeNext(Call::open, [&] { wasRemoved = std::filesystem::remove(plist()); });
  replace({{"b", 2}});
  EXPECT_TRUE(store->synchronize());
  EXPECT_TRUE(wasRemoved);
  EXPECT_TRUE(store->status().problems.empty());
  EXPECT_EQ(onDisk(), PropertyList(Dictionary{{"a", 1}}));
}

TEST_F(VanishingList, ListThatReturnsDuringTheFirstReadIsRead) {
  makeFolder();
  replace({{"a", 1}});
  beforeNext(Call::open, [&] {
    std::filesystem::rename(plist(), above() + "/away");
    beforeNext(Call::status, [&] { std::filesystem::rename(above() + "/away", plist()); });
  });
  const Store store = open(files_.system());
  EXPECT_FALSE(store->value("a").has_value());
  EXPECT_TRUE(store->synchronize());
  EXPECT_EQ(store->value("a"), 1);
  EXPECT_TRUE(store->status().problems.empty());
}

}  // namespace
}  // namespace Tessaly::inline v1
