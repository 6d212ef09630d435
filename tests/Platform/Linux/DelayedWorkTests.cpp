// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <semaphore>
#include <thread>
#include <vector>

#include "Tessaly/Platform/Linux/DelayedWork.hpp"
#include "Tessaly/Platform/Testing/ManualClock.hpp"
#include "tests/Support/Repetitions.hpp"
#include "tests/Support/Threads.hpp"
#include "tests/Support/WaitUntil.hpp"

namespace {

using namespace std::chrono_literals;
using namespace Tessaly;
using detail::DelayedWork;
using Tests::repetitions;
using Tests::waitUntil;
using Tests::waitUntilAsleep;

/// Work that reports its beginning and waits for the test, so that the test decides how long a run takes.
struct GatedWork {
  ManualClock clock;
  std::atomic<int> begun = 0;
  std::counting_semaphore<> gate{0};
  const std::shared_ptr<DelayedWork> work = DelayedWork::make(clock, [this] {
    begun.fetch_add(1);
    gate.acquire();
  });

  bool hasBegun(int times) {
    return waitUntil([&] { return begun == times; });
  }
  void scheduleAndFire() {
    work->schedule(1s);
    clock.advance(1s);
  }
};

TEST(DelayedWork, RunsWhenItIsDue) {
  GatedWork gated;
  gated.gate.release();
  gated.work->schedule(2s);
  gated.clock.advance(1s);
  EXPECT_EQ(gated.clock.timerCount(), 1U);
  gated.clock.advance(1s);
  EXPECT_TRUE(gated.hasBegun(1));
  gated.work->cancel();
}

TEST(DelayedWork, StartRunsWithoutTheClock) {
  GatedWork gated;
  gated.work->schedule(1s);
  gated.work->start();
  ASSERT_TRUE(gated.hasBegun(1));
  for (int i = 0; i < 100; ++i) gated.work->start();
  gated.gate.release(3);
  EXPECT_TRUE(gated.hasBegun(2));
  gated.clock.advance(1s);
  EXPECT_TRUE(gated.hasBegun(3));
  gated.work->cancel();
  gated.work->start();
  EXPECT_EQ(gated.begun, 3);
}

TEST(DelayedWork, SecondScheduleCanOnlyBeEarlier) {
  GatedWork gated;
  gated.gate.release();
  gated.work->schedule(10s);
  gated.work->schedule(2s);
  gated.work->schedule(20s);
  EXPECT_EQ(gated.clock.timerCount(), 1U);
  gated.clock.advance(2s);
  EXPECT_TRUE(gated.hasBegun(1));
  EXPECT_EQ(gated.clock.timerCount(), 0U);
  gated.work->cancel();
}

TEST(DelayedWork, SchedulesDuringARunCauseOneMoreRun) {
  GatedWork gated;
  gated.scheduleAndFire();
  ASSERT_TRUE(gated.hasBegun(1));
  for (int i = 0; i < 100; ++i) gated.scheduleAndFire();
  gated.gate.release(101);
  EXPECT_TRUE(gated.hasBegun(2));
  std::this_thread::sleep_for(1ms);
  gated.work->cancel();
  EXPECT_EQ(gated.begun, 2);
}

TEST(DelayedWork, TimerMayFireWhileItIsSet) {
  /// A clock whose time has always passed when a timer is set.
  class HastyClock final : public Clock {
   public:
    [[nodiscard]] Instant now() const noexcept override { return {}; }
    void add(ClockTimer& timer) override { timer.fire(); }
    bool remove(ClockTimer&) noexcept override { return false; }
  } clock;
  std::binary_semaphore isDone{0};
  const auto work = DelayedWork::make(clock, [&] { isDone.release(); });
  for (int i = 0; i < 100; ++i) {
    work->schedule(1s);
    isDone.acquire();
  }
  work->cancel();
}

TEST(DelayedWork, NeverRunsTwiceAtOnce) {
  std::atomic<int> underWay = 0;
  std::atomic<int> mostUnderWay = 0;
  std::atomic<int> runs = 0;
  const auto work = DelayedWork::make(ContinuousClock::shared(), [&] {
    const int now = underWay.fetch_add(1) + 1;
    if (now > mostUnderWay) mostUnderWay = now;
    std::this_thread::sleep_for(50us);
    runs.fetch_add(1);
    underWay.fetch_sub(1);
  });
  {
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < 3; ++thread) {
      threads.emplace_back([&] {
        while (runs < repetitions(100)) {
          work->schedule(1ns);
          std::this_thread::sleep_for(20us);
        }
      });
    }
  }
  const int before = runs;
  work->schedule(1ns);
  EXPECT_TRUE(waitUntil([&] { return runs > before; }));
  work->cancel();
  EXPECT_EQ(underWay, 0);
  EXPECT_EQ(mostUnderWay, 1);
}

TEST(DelayedWork, DoesNotRunAfterCancel) {
  for (int round = 0; round < repetitions(200); ++round) {
    // The test destroys this after `cancel`, as an owner of the work would.
    auto underWay = std::make_unique<std::atomic<int>>(0);
    std::atomic<int>& counter = *underWay;
    const auto work = DelayedWork::make(ContinuousClock::shared(), [&counter] {
      counter.fetch_add(1);
      std::this_thread::sleep_for(10us);
      counter.fetch_sub(1);
    });
    std::jthread scheduling([&] {
      for (int i = 0; i < 50; ++i) work->schedule(1ns);
    });
    for (int i = 0; i < 50; ++i) work->schedule(1ns);
    if (round % 2 == 0) std::this_thread::sleep_for(std::chrono::microseconds(round));
    work->cancel();
    ASSERT_EQ(counter, 0);
    underWay.reset();
  }
}

TEST(DelayedWork, CannotBeScheduledAfterCancel) {
  GatedWork gated;
  gated.work->schedule(1s);
  gated.work->cancel();
  EXPECT_EQ(gated.clock.timerCount(), 0U);
  gated.scheduleAndFire();
  EXPECT_EQ(gated.clock.timerCount(), 0U);
  EXPECT_EQ(gated.begun, 0);
}

TEST(DelayedWork, CancelDropsTheSecondRun) {
  GatedWork gated;
  gated.scheduleAndFire();
  ASSERT_TRUE(gated.hasBegun(1));
  gated.scheduleAndFire();
  std::atomic<bool> isCancelled = false;
  std::promise<pid_t> identifier;
  std::jthread cancelling([&] {
    identifier.set_value(::gettid());
    gated.work->cancel();
    isCancelled = true;
  });
  waitUntilAsleep(identifier.get_future().get());
  EXPECT_FALSE(isCancelled);
  gated.gate.release();
  cancelling.join();
  EXPECT_EQ(gated.begun, 1);
}

TEST(DelayedWork, ForkedChildDoesNotWait) {
  GatedWork gated;
  gated.scheduleAndFire();
  ASSERT_TRUE(gated.hasBegun(1));
  const pid_t child = ::fork();
  if (child == 0) {
    gated.work->cancel();
    ::_exit(0);
  }
  int status = -1;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  gated.gate.release();
  gated.work->cancel();
}

TEST(DelayedWork, CanCancelItself) {
  std::atomic<int> runs = 0;
  std::shared_ptr<DelayedWork> work;
  std::binary_semaphore isDone{0};
  ManualClock clock;
  work = DelayedWork::make(clock, [&] {
    work->schedule(1ns);
    work->cancel();
    runs.fetch_add(1);
    isDone.release();
  });
  work->schedule(1ns);
  clock.advance(1ns);
  isDone.acquire();
  work->cancel();
  EXPECT_EQ(clock.timerCount(), 0U);
  EXPECT_EQ(runs, 1);
}

}  // namespace
