// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <stdexcept>
#include <string>

#include "Tessaly/Core/Tasks/SyncWait.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"
#include "Tessaly/Core/Tasks/TaskLocal.hpp"

namespace Tessaly {
namespace {

constinit TaskLocal<int> number(1);
constinit TaskLocal<bool> flag(false);

TEST(TaskLocal, IsTheDefaultWhereNothingIsBound) { EXPECT_EQ(number.value(), 1); }

TEST(TaskLocal, BindsForTheExtentOfACallOutsideAnyTask) {
  EXPECT_EQ(number.withValue(2, [] { return number.value(); }), 2);
  EXPECT_EQ(number.value(), 1);
}

TEST(TaskLocal, TheInnermostBindingWins) {
  number.withValue(2, [] {
    number.withValue(3, [] { EXPECT_EQ(number.value(), 3); });
    EXPECT_EQ(number.value(), 2);
  });
}

TEST(TaskLocal, KeysAreIndependent) {
  number.withValue(2, [] {
    flag.withValue(true, [] {
      EXPECT_EQ(number.value(), 2);
      EXPECT_TRUE(flag.value());
    });
    EXPECT_FALSE(flag.value());
  });
}

TEST(TaskLocal, UnbindsWhenTheBodyThrows) {
  EXPECT_THROW(number.withValue(2, [] { throw std::runtime_error("body"); }), std::runtime_error);
  EXPECT_EQ(number.value(), 1);
}

TEST(TaskLocal, StaysBoundThroughoutAnAsync) {
  const Task<> task({.isolation = Isolation()}, []() -> Async<void> {
    co_await number.withValue(2, []() -> Async<void> {
      EXPECT_EQ(number.value(), 2);
      co_await Task<>::yield();
      EXPECT_EQ(number.value(), 2);
    });
    EXPECT_EQ(number.value(), 1);
  });
  syncWait(task.value());
}

TEST(TaskLocal, DoesNotLeakIntoOtherTasksOnTheThread) {
  const Task<> binder([]() -> Async<void> {
    co_await number.withValue(2, []() -> Async<void> {
      for (int i = 0; i < 10; ++i) co_await Task<>::yield();
    });
  });
  const Task<> reader([]() -> Async<void> {
    for (int i = 0; i < 10; ++i) {
      EXPECT_EQ(number.value(), 1);
      co_await Task<>::yield();
    }
  });
  syncWait(binder.value());
  syncWait(reader.value());
}

TEST(TaskLocal, IsCopiedIntoTasksCreatedInside) {
  const Task<int> task = number.withValue(2, [] {
    return number.withValue(3, [] { return Task<int>([]() -> Async<int> { co_return number.value(); }); });
  });
  EXPECT_EQ(syncWait(task.value()), 3);
}

TEST(TaskLocal, ACopyDoesNotSeeWhatTheCreatorBindsLater) {
  const Task<int> task = number.withValue(2, [] { return Task<int>([] { return number.value(); }); });
  number.withValue(9, [&] { EXPECT_EQ(syncWait(task.value()), 2); });
}

TEST(TaskLocal, CopiesAreDestroyedWhenTheTaskEnds) {
  static TaskLocal<std::shared_ptr<int>> held(nullptr);
  auto witness = std::make_shared<int>(1);
  const Task<> task = held.withValue(witness, [] { return Task<>([] {}); });
  EXPECT_EQ(witness.use_count(), 2);
  syncWait(task.value());
  EXPECT_EQ(witness.use_count(), 1);
}

struct ThrowingCopy {
  explicit ThrowingCopy(std::atomic<int>* count = nullptr) : alive(count) { note(1); }
  ThrowingCopy(const ThrowingCopy& other) : alive(other.alive) {
    if (throws) throw std::runtime_error("copy");
    note(1);
  }
  ThrowingCopy(ThrowingCopy&& other) noexcept : alive(other.alive) { note(1); }
  ThrowingCopy& operator=(ThrowingCopy) = delete;
  ~ThrowingCopy() { note(-1); }
  void note(int change) const {
    if (alive != nullptr) *alive += change;
  }
  std::atomic<int>* alive;
  static inline bool throws = false;
};

TEST(TaskLocal, CopyThatThrowsLeaksNoOtherCopy) {
  static TaskLocal<ThrowingCopy> failing{ThrowingCopy()};
  static TaskLocal<std::shared_ptr<int>> other(nullptr);
  std::atomic<int> alive = 0;
  auto held = std::make_shared<int>(1);
  const std::weak_ptr<int> watched = held;
  failing.withValue(ThrowingCopy(&alive), [&] {
    other.withValue(std::move(held), [] {
      ThrowingCopy::throws = true;
      EXPECT_THROW(Task<>([] {}), std::runtime_error);
      ThrowingCopy::throws = false;
    });
  });
  EXPECT_TRUE(watched.expired());
  EXPECT_EQ(alive, 0);
}

}  // namespace
}  // namespace Tessaly
