// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "Tessaly/Core/Locks/OSAllocatedUnfairLock.hpp"
#include "tests/Support/Repetitions.hpp"

namespace Tessaly {
namespace {

using testing::KilledBySignal;
using testing::MatchesRegex;

constexpr auto usedAfterMove =
    "Tessaly/OSAllocatedUnfairLock:[0-9]+: Fatal error: A lock was used after it had been moved from\n";

bool isFreeForOthers(const OSAllocatedUnfairLock<void>& lock) {
  bool isFree = false;
  std::jthread([&] {
    isFree = lock.lockIfAvailable();
    if (isFree) lock.unlock();
  }).join();
  return isFree;
}

struct Immovable {
  explicit Immovable(int number) : number(number) {}
  Immovable(const Immovable&) = delete;
  Immovable& operator=(const Immovable&) = delete;
  int number;
};

TEST(OSAllocatedUnfairLock, IsTheSizeOfAPointer) {
  static_assert(sizeof(OSAllocatedUnfairLock<void>) == sizeof(void*));
}

TEST(OSAllocatedUnfairLock, CopiesShareOneLock) {
  const OSAllocatedUnfairLock<void> first;
  const OSAllocatedUnfairLock<void> second = first;
  EXPECT_EQ(first, second);
  first.lock();
  EXPECT_FALSE(isFreeForOthers(second));
  second.unlock();
  EXPECT_TRUE(isFreeForOthers(first));
}

TEST(OSAllocatedUnfairLock, NewLocksAreIndependent) {
  const OSAllocatedUnfairLock<void> first;
  const OSAllocatedUnfairLock<void> second;
  EXPECT_NE(first, second);
  first.lock();
  EXPECT_TRUE(isFreeForOthers(second));
  first.unlock();
}

TEST(OSAllocatedUnfairLock, CopyOutlivesTheFirstHandle) {
  auto first = std::make_unique<OSAllocatedUnfairLock<void>>();
  const OSAllocatedUnfairLock<void> second = *first;
  second.lock();
  first.reset();
  second.unlock();
  EXPECT_TRUE(isFreeForOthers(second));
}

TEST(OSAllocatedUnfairLock, MoveKeepsAHeldLock) {
  OSAllocatedUnfairLock<void> first;
  const OSAllocatedUnfairLock<void> witness = first;
  first.lock();
  const OSAllocatedUnfairLock<void> second = std::move(first);
  EXPECT_EQ(second, witness);
  EXPECT_FALSE(isFreeForOthers(witness));
  second.unlock();
}

TEST(OSAllocatedUnfairLock, AssignmentReleasesTheOldLock) {
  OSAllocatedUnfairLock<void> first;
  const OSAllocatedUnfairLock<void> second;
  first = second;
  EXPECT_EQ(first, second);
  const auto& self = first;
  first = self;
  EXPECT_EQ(first, second);
}

TEST(OSAllocatedUnfairLock, HandlesMayBeCopiedAndDroppedByManyThreads) {
  for (int round = 0; round < Tests::repetitions(200); ++round) {
    auto lock = std::make_unique<OSAllocatedUnfairLock<void>>();
    int total = 0;
    std::vector<std::jthread> threads;
    for (int i = 0; i < 4; ++i) {
      threads.emplace_back([copy = *lock, &total]() mutable {
        const auto mine = std::move(copy);
        mine.withLock([&] { ++total; });
      });
    }
    lock.reset();
    threads.clear();
    EXPECT_EQ(total, 4);
  }
}

TEST(OSAllocatedUnfairLock, WithLockHoldsTheLockWhileTheBodyRuns) {
  const OSAllocatedUnfairLock<void> lock;
  EXPECT_FALSE(lock.withLock([&] { return isFreeForOthers(lock); }));
  EXPECT_TRUE(isFreeForOthers(lock));
}

TEST(OSAllocatedUnfairLock, WithLockReleasesTheLockOnAnException) {
  const OSAllocatedUnfairLock<void> lock;
  EXPECT_THROW(lock.withLock([] { throw std::out_of_range("full"); }), std::out_of_range);
  EXPECT_TRUE(isFreeForOthers(lock));
}

TEST(OSAllocatedUnfairLock, WithLockReturnsImmovableResults) {
  const OSAllocatedUnfairLock<void> lock;
  const Immovable result = lock.withLock([] { return Immovable(7); });
  EXPECT_EQ(result.number, 7);
}

TEST(OSAllocatedUnfairLock, UsedAfterAMoveStopsTheProcess) {
  OSAllocatedUnfairLock<void> lock;
  const OSAllocatedUnfairLock<void> owner = std::move(lock);
  EXPECT_EXIT(lock.lock(), KilledBySignal(SIGABRT), MatchesRegex(usedAfterMove));
  EXPECT_EXIT(lock.unlock(), KilledBySignal(SIGABRT), MatchesRegex(usedAfterMove));
  EXPECT_EXIT((void)lock.lockIfAvailable(), KilledBySignal(SIGABRT), MatchesRegex(usedAfterMove));
  EXPECT_EXIT(lock.withLock([] {}), KilledBySignal(SIGABRT), MatchesRegex(usedAfterMove));
}

TEST(OSAllocatedUnfairLock, LockedAgainThroughACopyStopsTheProcess) {
  const OSAllocatedUnfairLock<void> lock;
  const OSAllocatedUnfairLock<void> copy = lock;
  EXPECT_EXIT(lock.withLock([&] { copy.lock(); }), KilledBySignal(SIGABRT),
              MatchesRegex("Tessaly/UnfairLock:[0-9]+: Fatal error: A lock was locked again by the thread that holds "
                           "it\n"));
}

}  // namespace
}  // namespace Tessaly
