// SPDX-License-Identifier: MIT
// A store while another process, which may have been stopped, holds the journal's lock for long.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "Tessaly/Core/Base/detail/OwnedDescriptor.hpp"
#include "tests/Platform/Settings/FaultyFileSystem.hpp"
#include "tests/Platform/Settings/StoreFixture.hpp"
#include "tests/Support/WaitUntil.hpp"

namespace Tessaly::inline v1 {
namespace {

using Call = Tests::FaultyFileSystem::Call;
using Tests::waitUntil;

class StuckLock : public Tests::StoreFixture {
 protected:
  void holdLock() {
    other_ = detail::OwnedDescriptor(::open(journal().c_str(), O_RDONLY | O_CLOEXEC));
    ASSERT_EQ(::flock(other_.get(), LOCK_EX), 0);
  }
  void releaseLock() { other_ = {}; }
  Store openWaiting() { return open(files_.system()); }
  /// Runs the call. Time passes at each attempt to lock a file only. The call must wait once, not twice.
  void runWhileTimePasses(const std::function<void()>& call) {
    const Clock::Instant start = clock_.now();
    isPassing_ = true;
    call();
    isPassing_ = false;
    const Clock::Instant waited = clock_.now() - start;
    EXPECT_GE(waited, std::chrono::seconds(2));
    EXPECT_LT(waited, std::chrono::milliseconds(2100));
  }

 private:
  detail::OwnedDescriptor other_;
  std::atomic<bool> isPassing_ = false;
  Tests::FaultyFileSystem files_{[this](Call call, const std::string&) -> Tests::FaultyFileSystem::Fate {
    if (call == Call::lock && isPassing_) clock_.advance(std::chrono::milliseconds(1));
    return {};
  }};
};

TEST_F(StuckLock, WriteReturnsWithinTwoSeconds) {
  const Store store = openWaiting();
  store->set(1, "a");
  holdLock();
  runWhileTimePasses([&] { store->set(2, "a"); });
  EXPECT_EQ(store->value("a"), 2);
  EXPECT_EQ(store->status().problem, UserDefaultsProblem::lockHeld);
  EXPECT_EQ(store->status().unstoredKeys, 1);
}

TEST_F(StuckLock, LaterWritesDoNotWaitAtAll) {
  const Store store = openWaiting();
  store->set(1, "a");
  holdLock();
  runWhileTimePasses([&] { store->set(2, "a"); });
  for (int i = 0; i < 14; ++i) store->set(i, "key" + std::to_string(i));  // Time stands still.
  EXPECT_EQ(store->dictionaryRepresentation().size(), 15u);
  releaseLock();
  EXPECT_TRUE(waitUntil([&] {
    clock_.advance(JournaledUserDefaults::retryDelay);
    return stored().size() == 15u;
  }));
  EXPECT_EQ(store->status().problem, UserDefaultsProblem::none);
  EXPECT_TRUE(store->synchronize());
}

TEST_F(StuckLock, ManyWritersWaitForTheSameTwoSeconds) {
  const Store store = openWaiting();
  store->set(1, "a");
  holdLock();
  runWhileTimePasses([&] {
    std::vector<std::jthread> writers;
    for (int i = 0; i < 4; ++i) writers.emplace_back([&, i] { store->set(i, std::to_string(i)); });
  });
  EXPECT_EQ(store->dictionaryRepresentation().size(), 5u);
}

TEST_F(StuckLock, ReadingDoesNotWaitForAWriter) {
  const Store store = openWaiting();
  store->set(1, "a");
  holdLock();
  std::jthread writer([&] { store->set(2, "b"); });
  EXPECT_EQ(store->value("a"), 1);
  EXPECT_GE(store->dictionaryRepresentation().size(), 1u);
  releaseLock();
}

TEST_F(StuckLock, SynchronizeReturnsWithinTwoSeconds) {
  const Store store = openWaiting();
  store->set(1, "a");
  holdLock();
  bool isStored = true;
  runWhileTimePasses([&] { isStored = store->synchronize(); });
  EXPECT_FALSE(isStored);
  EXPECT_EQ(store->status().problem, UserDefaultsProblem::lockHeld);
}

TEST_F(StuckLock, NewProcessReadsEverythingWithinTwoSeconds) {
  const Store store = openWaiting();
  store->set(1, "a");
  ASSERT_TRUE(store->synchronize());
  store->set(2, "b");
  holdLock();
  Store second;
  runWhileTimePasses([&] { second = openWaiting(); });
  EXPECT_EQ(second->dictionaryRepresentation(), (Dictionary{{"a", 1}, {"b", 2}}));
  second->set(3, "c");  // Time stands still.
  releaseLock();
  EXPECT_TRUE(waitUntil([&] {
    clock_.advance(JournaledUserDefaults::retryDelay);
    return stored() == Dictionary{{"a", 1}, {"b", 2}, {"c", 3}};
  }));
}

TEST_F(StuckLock, EndOfAStoreWaitsForTwoSecondsOnly) {
  Store store = openWaiting();
  store->set(1, "a");
  holdLock();
  runWhileTimePasses([&] { store.reset(); });
  EXPECT_EQ(store, nullptr);
}

}  // namespace
}  // namespace Tessaly::inline v1
