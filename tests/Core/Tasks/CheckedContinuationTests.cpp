// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>

#include "Tessaly/Core/Tasks/CheckedContinuation.hpp"
#include "Tessaly/Core/Tasks/MainQueue.hpp"
#include "Tessaly/Core/Tasks/SyncWait.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"
#include "Tessaly/Platform/Testing/RecordingLogBackend.hpp"
#include "tests/Support/LeftSuspended.hpp"
#include "tests/Support/Repetitions.hpp"

namespace Tessaly {
namespace {

const TaskOptions onThePool{.isolation = Isolation()};

TEST(CheckedContinuation, ResumesWithTheValue) {
  EXPECT_EQ(syncWait(withCheckedContinuation<std::string>([](auto continuation) { continuation.resume("here"); })),
            "here");
}

TEST(CheckedContinuation, ResumesWithoutAValue) {
  syncWait(withCheckedContinuation<>([](CheckedContinuation<> continuation) { continuation.resume(); }));
}

TEST(CheckedContinuation, ResumesByThrowing) {
  EXPECT_THROW(syncWait(withCheckedContinuation<int>([](CheckedContinuation<int> continuation) {
                 continuation.resumeThrowing(std::runtime_error("late"));
               })),
               std::runtime_error);
}

TEST(CheckedContinuation, ResumesFromAnotherThreadOnTheTasksOwnExecutor) {
  const auto main = std::this_thread::get_id();
  std::thread other;
  const int value = syncWait([&]() -> Async<int> {
    const int resumed = co_await withCheckedContinuation<int>(
        [&](CheckedContinuation<int> handle) { other = std::thread([handle] { handle.resume(3); }); });
    EXPECT_EQ(std::this_thread::get_id(), main);
    co_return resumed;
  });
  other.join();
  EXPECT_EQ(value, 3);
}

TEST(CheckedContinuation, NeverRunsTheAwaiterInline) {
  std::optional<CheckedContinuation<>> continuation;
  bool hasGoneOn = false;
  const Task<> task([&]() -> Async<void> {
    co_await withCheckedContinuation<>([&](CheckedContinuation<> handle) { continuation = handle; });
    hasGoneOn = true;
  });
  while (!continuation) MainQueue::drain();
  continuation->resume();
  EXPECT_FALSE(hasGoneOn);
  syncWait(task.value());
  EXPECT_TRUE(hasGoneOn);
}

TEST(CheckedContinuation, PassesOnWhatTheBodyThrows) {
  EXPECT_THROW(syncWait(withCheckedContinuation<int>(
                   [](const CheckedContinuation<int>&) { throw std::logic_error("could not ask"); })),
               std::logic_error);
}

TEST(CheckedContinuation, MovesAResultThatCannotBeCopied) {
  EXPECT_EQ(*syncWait(withCheckedContinuation<std::unique_ptr<int>>(
                [](auto continuation) { continuation.resume(std::make_unique<int>(4)); })),
            4);
}

// A value that cannot be made of a negative number.
struct Fragile {
  explicit Fragile(int number) : number(number) {
    if (number < 0) throw std::runtime_error("a negative number");
  }
  int number;
};

TEST(CheckedContinuation, ValueThatThrowsLeavesTheHandleUnresumed) {
  const Fragile value = syncWait(withCheckedContinuation<Fragile>([](CheckedContinuation<Fragile> continuation) {
    EXPECT_THROW(continuation.resume(-1), std::runtime_error);
    EXPECT_THROW(continuation.resume(-2), std::runtime_error);
    continuation.resume(3);
  }));
  EXPECT_EQ(value.number, 3);
}

TEST(CheckedContinuation, ValueThatThrowsMayBeReplacedByItsError) {
  EXPECT_THROW(syncWait(withCheckedContinuation<Fragile>([](CheckedContinuation<Fragile> continuation) {
                 try {
                   continuation.resume(-1);
                 } catch (...) {
                   continuation.resumeThrowing(std::current_exception());
                 }
               })),
               std::runtime_error);
}

TEST(CheckedContinuation, HandleDroppedAfterAValueThatThrewIsNamedInTheLog) {
  const auto backend = std::make_shared<RecordingLogBackend>();
  const LogBackendInstallation installation(backend);
  const Tests::LeftSuspended theTask;
  const Task<> task([]() -> Async<void> {
    co_await withCheckedContinuation<Fragile>(
        [](const CheckedContinuation<Fragile>& continuation) {
          EXPECT_THROW(continuation.resume(-1), std::runtime_error);
        },
        "nextReply");
  });
  MainQueue::drain();
  EXPECT_FALSE(task.isFinished());
  ASSERT_EQ(backend->messages().size(), 1U);
  EXPECT_EQ(backend->messages()[0],
            "The continuation 'nextReply' was dropped without being resumed; its task stays suspended.");
}

TEST(CheckedContinuation, ResumeRacingWithTheSuspensionLosesNothing) {
  for (int i = 0; i < Tests::repetitions(2000); ++i) {
    const Task<int> task(onThePool, [] {
      return withCheckedContinuation<int>(
          [](CheckedContinuation<int> handle) { Task<>::detached([handle] { handle.resume(1); }); });
    });
    ASSERT_EQ(syncWait(task.value()), 1);
  }
}

TEST(CheckedContinuationDeathTest, StopsTheProcessWhenResumedTwice) {
  EXPECT_DEATH(syncWait(withCheckedContinuation<int>(
                   [](CheckedContinuation<int> continuation) {
                     continuation.resume(1);
                     continuation.resume(2);
                   },
                   "finalValue")),
               "^Tessaly/CheckedContinuation:[0-9]+: Fatal error: The continuation 'finalValue' was resumed more than "
               "once\n$");
}

TEST(CheckedContinuationDeathTest, StopsTheProcessWhenResumedWithANullError) {
  EXPECT_DEATH(syncWait(withCheckedContinuation<int>(
                   [](CheckedContinuation<int> continuation) { continuation.resumeThrowing(nullptr); }, "reply")),
               "^Tessaly/CheckedContinuation:[0-9]+: Fatal error: The continuation 'reply' was resumed with a null "
               "exception_ptr instead of an error\n$");
}

Async<int> waitForReply() {
  return withCheckedContinuation<int>([](CheckedContinuation<int> continuation) {
    continuation.resume(1);
    continuation.resumeThrowing(std::runtime_error("again"));
  });
}

TEST(CheckedContinuationDeathTest, IsNamedAfterTheCallingFunctionByDefault) {
  EXPECT_DEATH(syncWait(waitForReply()), "The continuation 'waitForReply' was resumed more than once");
}

}  // namespace
}  // namespace Tessaly
