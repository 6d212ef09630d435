// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <thread>
#include <type_traits>
#include <vector>

#include "Tessaly/Core/Locks/UnfairLock.hpp"
#include "tests/Support/Repetitions.hpp"
#include "tests/Support/SystemCalls.hpp"
#include "tests/Support/Threads.hpp"

namespace Tessaly {
namespace {

using testing::KilledBySignal;
using testing::MatchesRegex;

constexpr auto lockedAgain =
    "Tessaly/UnfairLock:[0-9]+: Fatal error: A lock was locked again by the thread that holds it\n";
constexpr auto unlockedByAnother =
    "Tessaly/UnfairLock:[0-9]+: Fatal error: A lock was unlocked by a thread that does not hold it\n";

bool isFreeForOthers(UnfairLock& lock) TESSALY_NO_THREAD_SAFETY_ANALYSIS {
  bool isFree = false;
  std::jthread([&]() TESSALY_NO_THREAD_SAFETY_ANALYSIS {
    isFree = lock.lockIfAvailable();
    if (isFree) lock.unlock();
  }).join();
  return isFree;
}

TEST(UnfairLock, IsOneWordThatNeitherMovesNorCopies) {
  static_assert(sizeof(UnfairLock) == 4);
  static_assert(!std::is_copy_constructible_v<UnfairLock>);
  static_assert(!std::is_move_constructible_v<UnfairLock>);
  static_assert(std::is_nothrow_default_constructible_v<UnfairLock>);
  static_assert(std::is_trivially_destructible_v<UnfairLock>);
}

TEST(UnfairLock, IsFreeAtFirstAndAfterItsGuard) {
  UnfairLock lock;
  EXPECT_TRUE(isFreeForOthers(lock));
  {
    UnfairLock::Guard guard(lock);
    EXPECT_FALSE(isFreeForOthers(lock));
  }
  EXPECT_TRUE(isFreeForOthers(lock));
}

TEST(UnfairLock, TryByTheOwnerFailsAndKeepsTheLock) {
  UnfairLock lock;
  UnfairLock::Guard guard(lock);
  EXPECT_FALSE([&]() TESSALY_NO_THREAD_SAFETY_ANALYSIS { return lock.lockIfAvailable(); }());
  EXPECT_FALSE(isFreeForOthers(lock));
}

TEST(UnfairLock, LetsOneThreadInAtATime) {
  constexpr int threadCount = 4;
  const int rounds = Tests::repetitions(20'000);
  UnfairLock lock;
  int inside = 0;
  long total = 0;
  std::atomic<int> violations{0};
  {
    std::vector<std::jthread> threads;
    for (int i = 0; i < threadCount; ++i) {
      threads.emplace_back([&] {
        for (int round = 0; round < rounds; ++round) {
          UnfairLock::Guard guard(lock);
          if (++inside != 1) violations.fetch_add(1);
          ++total;
          --inside;
        }
      });
    }
  }
  EXPECT_EQ(violations.load(), 0);
  EXPECT_EQ(total, static_cast<long>(threadCount) * rounds);
}

TEST(UnfairLock, TryingAndWaitingThreadsExcludeEachOther) {
  const int rounds = Tests::repetitions(20'000);
  UnfairLock lock;
  long total = 0;
  std::atomic<long> taken{0};
  {
    std::vector<std::jthread> threads;
    for (int i = 0; i < 2; ++i) {
      threads.emplace_back([&] {
        for (int round = 0; round < rounds; ++round) {
          UnfairLock::Guard guard(lock);
          ++total;
          taken.fetch_add(1, std::memory_order_relaxed);
        }
      });
      threads.emplace_back([&]() TESSALY_NO_THREAD_SAFETY_ANALYSIS {
        for (int round = 0; round < rounds; ++round) {
          if (!lock.lockIfAvailable()) continue;
          ++total;
          taken.fetch_add(1, std::memory_order_relaxed);
          lock.unlock();
        }
      });
    }
  }
  EXPECT_EQ(total, taken.load());
}

TEST(UnfairLock, WakesEveryThreadThatSleepsOnIt) {
  constexpr int threadCount = 8;
  for (int round = 0; round < Tests::repetitions(50); ++round) {
    UnfairLock lock;
    int entered = 0;
    std::vector<std::atomic<pid_t>> identifiers(threadCount);
    std::vector<std::jthread> threads;
    {
      UnfairLock::Guard guard(lock);
      for (auto& identifier : identifiers) {
        threads.emplace_back([&] {
          identifier.store(::gettid());
          identifier.notify_one();
          UnfairLock::Guard inner(lock);
          ++entered;
        });
      }
      for (auto& identifier : identifiers) {
        identifier.wait(0);
        Tests::waitUntilAsleep(identifier.load());
      }
    }
    threads.clear();
    EXPECT_EQ(entered, threadCount);
  }
}

#if !__has_feature(thread_sanitizer)  // Its runtime makes system calls of its own.
TEST(UnfairLock, MakesNoSystemCallWhenItIsFree) {
  UnfairLock lock;
  EXPECT_EQ(Tests::systemCallsOf([&] {
              for (int i = 0; i < 1000; ++i) UnfairLock::Guard guard(lock);
            }),
            Tests::SystemCalls::none);
}
#endif

TEST(UnfairLock, CheckForSystemCallsDetectsOne) {
  EXPECT_EQ(Tests::systemCallsOf([] { ::syscall(SYS_getppid); }), Tests::SystemCalls::some);
}

TEST(UnfairLock, LockedAgainByItsOwnerStopsTheProcess) {
  EXPECT_EXIT(
      {
        UnfairLock lock;
        UnfairLock::Guard guard(lock);
        [&]() TESSALY_NO_THREAD_SAFETY_ANALYSIS { lock.lock(); }();
      },
      KilledBySignal(SIGABRT), MatchesRegex(lockedAgain));
}

TEST(UnfairLock, LockedAgainByItsOwnerStopsTheProcessAlsoWhileOthersWait) {
  EXPECT_EXIT(
      {
        UnfairLock lock;
        UnfairLock::Guard guard(lock);
        std::atomic<pid_t> identifier{0};
        std::thread waiter([&] {
          identifier.store(::gettid());
          identifier.notify_one();
          UnfairLock::Guard inner(lock);
        });
        identifier.wait(0);
        Tests::waitUntilAsleep(identifier.load());
        [&]() TESSALY_NO_THREAD_SAFETY_ANALYSIS { lock.lock(); }();
        waiter.join();
      },
      KilledBySignal(SIGABRT), MatchesRegex(lockedAgain));
}

TEST(UnfairLock, UnlockedByAnotherThreadStopsTheProcess) {
  EXPECT_EXIT(
      {
        UnfairLock lock;
        UnfairLock::Guard guard(lock);
        std::thread([&]() TESSALY_NO_THREAD_SAFETY_ANALYSIS { lock.unlock(); }).join();
      },
      KilledBySignal(SIGABRT), MatchesRegex(unlockedByAnother));
}

TEST(UnfairLock, UnlockedWhileFreeStopsTheProcess) {
  EXPECT_EXIT(
      {
        UnfairLock lock;
        [&]() TESSALY_NO_THREAD_SAFETY_ANALYSIS { lock.unlock(); }();
      },
      KilledBySignal(SIGABRT), MatchesRegex(unlockedByAnother));
}

TEST(UnfairLock, FreeAtAForkServesTheChild) {
  UnfairLock lock;
  {
    UnfairLock::Guard guard(lock);
  }
  const pid_t child = ::fork();
  if (child == 0) {
    {
      UnfairLock::Guard guard(lock);
    }
    ::_exit(0);
  }
  int status = -1;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  EXPECT_TRUE(isFreeForOthers(lock));
}

TEST(UnfairLock, ForkedChildMayNotUnlockIt) {
  EXPECT_EXIT(
      {
        UnfairLock lock;
        UnfairLock::Guard guard(lock);
        const pid_t child = ::fork();
        if (child == 0) [&]() TESSALY_NO_THREAD_SAFETY_ANALYSIS { lock.unlock(); }();
        int status = 0;
        ::waitpid(child, &status, 0);
        ::_exit(WIFSIGNALED(status) ? WTERMSIG(status) : 0);
      },
      testing::ExitedWithCode(SIGABRT), MatchesRegex(unlockedByAnother));
}

}  // namespace
}  // namespace Tessaly
