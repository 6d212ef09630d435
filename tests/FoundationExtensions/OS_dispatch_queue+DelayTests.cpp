// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <limits>
#include <thread>

#include "Tessaly/Core/Tasks/GlobalExecutor.hpp"
#include "Tessaly/FoundationExtensions/OS_dispatch_queue+Delay.hpp"
#include "Tessaly/Platform/Testing/ManualClock.hpp"
#include "tests/Support/Repetitions.hpp"

namespace {

using namespace Tessaly;
using namespace std::chrono_literals;

/// Keeps the jobs instead of running them.
class KeepingExecutor final : public Executor {
 public:
  void enqueue(Job& job) noexcept override {
    last_ = &job;
    ++count_;
  }
  [[nodiscard]] int count() const { return count_; }
  [[nodiscard]] Job& last() const { return *last_; }

 private:
  std::atomic<Job*> last_ = nullptr;
  std::atomic<int> count_ = 0;
};

KeepingExecutor& installedExecutor() {
  static auto& executor = *new KeepingExecutor;
  GlobalExecutor::install(executor);
  return executor;
}

TEST(Delay, EnqueuesItsBlockOnceAtBackgroundPriority) {
  KeepingExecutor& executor = installedExecutor();
  ManualClock clock;
  int calls = 0;
  OS_dispatch_queue::delay(1.5, [&] { ++calls; }, clock);
  clock.advance(1500ms - 1ns);
  EXPECT_EQ(executor.count(), 0);
  clock.advance(1ns);
  ASSERT_EQ(executor.count(), 1);
  EXPECT_EQ(executor.last().priority(), TaskPriority::background);
  EXPECT_EQ(calls, 0);
  executor.last().run();
  EXPECT_EQ(calls, 1);
  clock.advance(100h);
  EXPECT_EQ(executor.count(), 1);
}

TEST(Delay, ZeroOrNegativeDelayEnqueuesWithoutRunningInline) {
  KeepingExecutor& executor = installedExecutor();
  ManualClock clock;
  for (const double seconds : {0.0, -0.0, -1.0, -std::numeric_limits<double>::infinity()}) {
    const int before = executor.count();
    bool hasRun = false;
    OS_dispatch_queue::delay(seconds, [&] { hasRun = true; }, clock);
    ASSERT_EQ(executor.count(), before + 1) << seconds;
    EXPECT_FALSE(hasRun);
    executor.last().run();
    EXPECT_TRUE(hasRun);
  }
}

TEST(Delay, InfiniteDelayNeverRuns) {
  KeepingExecutor& executor = installedExecutor();
  static auto& clock = *new ManualClock;  // Its timers never fire.
  clock.advance(1h);
  for (const double seconds :
       {1e10, std::numeric_limits<double>::infinity(), std::numeric_limits<double>::quiet_NaN()}) {
    OS_dispatch_queue::delay(seconds, [] {}, clock);
  }
  clock.advance(2'000'000h);
  EXPECT_EQ(clock.timerCount(), 3u);
  EXPECT_EQ(executor.count(), 0);
}

TEST(Delay, RunsOnAnotherThreadNotBeforeItsTime) {
  for (int round = 0; round < Tests::repetitions(100); ++round) {
    std::promise<std::thread::id> ran;
    const auto start = std::chrono::steady_clock::now();
    const double seconds = round % 2 == 0 ? 0 : 0.0005;
    OS_dispatch_queue::delay(seconds, [&] { ran.set_value(std::this_thread::get_id()); });
    EXPECT_NE(ran.get_future().get(), std::this_thread::get_id());
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::duration<double>(seconds));
  }
}

}  // namespace
