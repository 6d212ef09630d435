// SPDX-License-Identifier: MIT
// Values that could not be stored at once: whatever happens before they are stored, no newer value gives way.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <functional>
#include <utility>
#include <vector>

#include "Tessaly/Core/Base/detail/OwnedDescriptor.hpp"
#include "tests/Platform/Settings/FaultyFileSystem.hpp"
#include "tests/Platform/Settings/StoreFixture.hpp"

namespace Tessaly::inline v1 {
namespace {

using Tests::FaultyFileSystem;
using Call = FaultyFileSystem::Call;

class UnstoredValues : public Tests::StoreFixture {
 protected:
  Store openFaulty() { return open(files_.system()); }
  /// Makes one write of a faulty store fail.
  void keepInMemory(const Store& store, const PropertyList& value, std::string_view key, std::int64_t unstored = 1) {
    isFull_ = true;
    store->set(value, key);
    isFull_ = false;
    ASSERT_EQ(store->status().unstoredKeys, unstored);
  }

  /// Whether each call of a faulty store fails.
  std::atomic<bool> isUnreachable_ = false;
  /// Called before each write to a file.
  std::function<void()> beforeWrite_;

 private:
  std::atomic<bool> isFull_ = false;
  FaultyFileSystem files_{[this](Call call, const std::string&) -> FaultyFileSystem::Fate {
    if (isUnreachable_) return {.errorCode = EIO};
    if (call != Call::write) return {};
    if (const auto body = std::exchange(beforeWrite_, nullptr)) body();
    return {.errorCode = isFull_ ? ENOSPC : 0};
  }};
};

TEST_F(UnstoredValues, ListOfAnotherProgramDoesNotUndoThem) {
  const Store store = openFaulty();
  store->set(1, "a");
  ASSERT_TRUE(store->synchronize());
  keepInMemory(store, 2, "a");
  replace({{"a", 1}, {"b", 7}});
  EXPECT_TRUE(store->synchronize());
  EXPECT_EQ(stored(), (Dictionary{{"a", 2}, {"b", 7}}));
}

TEST_F(UnstoredValues, ListOfAnotherProgramDoesNotUndoLateStoring) {
  const Store store = openFaulty();
  store->set(1, "a");
  ASSERT_TRUE(store->synchronize());
  keepInMemory(store, 2, "a");
  store->set(3, "c");
  ASSERT_EQ(store->status().unstoredKeys, 0);
  replace({{"a", 1}, {"b", 7}});
  EXPECT_TRUE(store->synchronize());
  EXPECT_EQ(stored(), (Dictionary{{"a", 2}, {"b", 7}, {"c", 3}}));
}

TEST_F(UnstoredValues, NewerWriteOfAnotherProcessStays) {
  const Store store = openFaulty();
  const Store other = open();
  keepInMemory(store, 1, "a");
  other->set(2, "a");
  store->set(3, "b");
  EXPECT_EQ(stored(), (Dictionary{{"a", 2}, {"b", 3}}));
}

TEST_F(UnstoredValues, NewerWriteBetweenTwoCheckpointsStays) {
  const Store store = openFaulty();
  store->set(0, "a");
  const Store other = open();
  keepInMemory(store, 1, "a");
  keepInMemory(store, 1, "c", 2);
  isUnreachable_ = true;
  int value = 1;
  // The journals that the store knows have no record of "a" after its own.
  for (const auto* key : {"d", "a", "d"}) {
    other->set(++value, key);
    ASSERT_TRUE(other->synchronize());
  }
  isUnreachable_ = false;
  store->set(5, "b");
  ASSERT_TRUE(store->synchronize());  // The write itself stores "c" only if no other store holds the journal's lock.
  EXPECT_EQ(store->value("a"), 3);
  EXPECT_EQ(store->status().unstoredKeys, 0);
  EXPECT_EQ(stored(), (Dictionary{{"a", 3}, {"b", 5}, {"c", 1}, {"d", 4}}));
}

TEST_F(UnstoredValues, NoProcessCanWriteWhileTheyAreStored) {
  const Store store = openFaulty();
  keepInMemory(store, 1, "a");
  std::vector<bool> couldOthersWrite;
  const std::function<void()> note = [&] {
    const detail::OwnedDescriptor file(::open(journal().c_str(), O_RDONLY | O_CLOEXEC));
    couldOthersWrite.push_back(::flock(file.get(), LOCK_SH | LOCK_NB) == 0);
    beforeWrite_ = note;
  };
  beforeWrite_ = note;
  store->set(3, "b");
  beforeWrite_ = nullptr;
  // A newer write between the reading of the last records and the storing of "a" would be undone.
  EXPECT_EQ(couldOthersWrite, (std::vector<bool>{true, false}));
  EXPECT_EQ(stored(), (Dictionary{{"a", 1}, {"b", 3}}));
}

}  // namespace
}  // namespace Tessaly::inline v1
