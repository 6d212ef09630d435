// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <chrono>
#include <limits>

#include "Tessaly/Core/Tasks/SyncWait.hpp"
#include "Tessaly/FoundationExtensions/Task+Sleep.hpp"
#include "Tessaly/Platform/Testing/ManualClock.hpp"

namespace {

using namespace Tessaly;
using namespace std::chrono_literals;

constexpr auto most = std::numeric_limits<std::uint64_t>::max();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();

/// Sleeps on a clock that advances by the whole time except 1 ns, and then by 1 ns.
template <typename Sleep>
void expectSleep(std::chrono::nanoseconds expected, Sleep sleep) {
  ManualClock clock;
  const auto nap = Task<>::detached([&] { return sleep(clock); });
  clock.waitForTimers(1);
  clock.advance(expected - 1ns);
  EXPECT_EQ(clock.timerCount(), 1u);
  EXPECT_FALSE(nap.isFinished());
  clock.advance(1ns);
  EXPECT_EQ(clock.timerCount(), 0u);
  syncWait([&] { return nap.value(); });
}

TEST(TaskSleep, CountsInMicrosecondsMillisecondsAndSeconds) {
  expectSleep(7us, [](Clock& clock) { return Task<>::sleepMicroSeconds(7, clock); });
  expectSleep(7ms, [](Clock& clock) { return Task<>::sleepMilliSeconds(7, clock); });
  expectSleep(7s, [](Clock& clock) { return Task<>::sleepSeconds(7, clock); });
  expectSleep(1500ms, [](Clock& clock) { return Task<>::sleepSeconds(1.5, clock); });
}

TEST(TaskSleep, TruncatesFractionsOfANanosecond) {
  expectSleep(2ns, [](Clock& clock) { return Task<>::sleepSeconds(2.9e-9, clock); });
}

TEST(TaskSleep, ZeroSleepEndsAtOnce) {
  ManualClock clock;
  syncWait([&]() -> Async<void> {
    co_await Task<>::sleepMicroSeconds(0, clock);
    co_await Task<>::sleepMilliSeconds(0, clock);
    co_await Task<>::sleepSeconds(0.0, clock);
    co_await Task<>::sleepSeconds(-0.9e-9, clock);
  });
}

TEST(TaskSleep, SleepsOnTheContinuousClockByDefault) {
  const auto start = std::chrono::steady_clock::now();
  syncWait([]() -> Async<void> {
    co_await Task<>::sleepMicroSeconds(300);
    co_await Task<>::sleepMilliSeconds(1);
    co_await Task<>::sleepSeconds(0.0005);
  });
  EXPECT_GE(std::chrono::steady_clock::now() - start, 1800us);
}

TEST(TaskSleep, ThrowsTheCancellationErrorWhenItsTaskIsCancelled) {
  ManualClock clock;
  const auto nap = Task<>::detached([&] { return Task<>::sleepSeconds(3600, clock); });
  clock.waitForTimers(1);
  nap.cancel();
  EXPECT_THROW(syncWait([&] { return nap.value(); }), CancellationError);
}

TEST(TaskSleep, LongestSleepsNeverEndAndCanBeCancelled) {
  ManualClock manual;
  manual.advance(1h);
  for (Clock* clock : {static_cast<Clock*>(&manual), static_cast<Clock*>(&ContinuousClock::shared())}) {
    for (const double seconds : {1e10, 18446744073.0}) {
      const auto nap = Task<>::detached([=] { return Task<>::sleepSeconds(seconds, *clock); });
      if (clock == &manual) {
        manual.waitForTimers(1);
        manual.advance(1'000'000h);
        EXPECT_FALSE(nap.isFinished());
      }
      nap.cancel();
      EXPECT_THROW(syncWait([&] { return nap.value(); }), CancellationError);
    }
    const auto nap = Task<>::detached([=] { return Task<>::sleepMicroSeconds(most / 1000, *clock); });
    nap.cancel();
    EXPECT_THROW(syncWait([&] { return nap.value(); }), CancellationError);
  }
}

TEST(TaskSleepDeathTest, CountsThatDoNotFitStopTheProcess) {
  const char* message = "Tessaly/Task\\+Sleep:.*: Fatal error: The nanoseconds to sleep do not fit in 64 bits";
  EXPECT_DEATH(static_cast<void>(Task<>::sleepMicroSeconds(most / 1000 + 1)), message);
  EXPECT_DEATH(static_cast<void>(Task<>::sleepMilliSeconds(most / 1'000'000 + 1)), message);
  for (const double seconds : {nan, infinity, 18446744073.709551616, 1e300}) {
    EXPECT_DEATH(static_cast<void>(Task<>::sleepSeconds(seconds)), message) << seconds;
  }
}

TEST(TaskSleepDeathTest, NegativeTimeIsNamedInTheMessage) {
  const char* message = "Tessaly/Task\\+Sleep:.*: Fatal error: The time to sleep is negative";
  const int left = -5;
  EXPECT_DEATH(static_cast<void>(Task<>::sleepMilliSeconds(static_cast<std::uint64_t>(left))), message);
  EXPECT_DEATH(static_cast<void>(Task<>::sleepMicroSeconds(static_cast<std::uint64_t>(left))), message);
  for (const double seconds : {-infinity, -1e-9, -1.0}) {
    EXPECT_DEATH(static_cast<void>(Task<>::sleepSeconds(seconds)), message) << seconds;
  }
}

}  // namespace
