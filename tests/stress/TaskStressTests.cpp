// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "tests/Support/Repetitions.hpp"
#include "tests/stress/TaskStress.hpp"

namespace Tessaly::Tests {
namespace {

using Executor = StressSettings::Executor;

StressSettings settingsFor(Executor executor, int rounds) {
  return {.executor = executor, .rounds = static_cast<std::uint64_t>(repetitions(rounds))};
}

TEST(TaskStress, RandomGraphsHoldUnderSeededSchedules) {
  const StressResult result = stressTasks(settingsFor(Executor::seeded, 2'000));
  EXPECT_GT(result.steps, 10'000U);
}

TEST(TaskStress, RandomGraphsHoldOnThePool) {
  StressSettings settings = settingsFor(Executor::pool, 2'000);
  settings.drivers = 4;
  EXPECT_GT(stressTasks(settings).steps, 10'000U);
}

TEST(TaskStress, RandomGraphsHoldOnAHostsManyThreads) {
  StressSettings settings = settingsFor(Executor::threads, 2'000);
  settings.drivers = 64;
  EXPECT_GT(stressTasks(settings).steps, 10'000U);
}

TEST(TaskStress, SameSeedGivesTheSameSchedule) {
  StressSettings settings = settingsFor(Executor::seeded, 50);
  const StressResult first = stressTasks(settings);
  const StressResult second = stressTasks(settings);
  settings.seed = 1000;
  const StressResult other = stressTasks(settings);
  EXPECT_EQ(first.steps, second.steps);
  EXPECT_EQ(first.trace, second.trace);
  EXPECT_NE(first.trace, other.trace);
}

StressSettings broken(Breakage breakage, Executor executor) {
  return {.executor = executor,
          .rounds = 5'000,
          .drivers = executor == Executor::seeded ? 1U : 8U,
          .patience = std::chrono::seconds(5),
          .breakage = breakage};
}

TEST(TaskStressDeathTest, FindsALostJobUnderSeededSchedules) {
  EXPECT_DEATH(stressTasks(broken(Breakage::lostJob, Executor::seeded)), "a wake-up was lost: nothing can go on");
}

TEST(TaskStressDeathTest, WatchdogFindsALostJobOnThePool) {
  EXPECT_DEATH(stressTasks(broken(Breakage::lostJob, Executor::pool)), "a wake-up was lost: no step for too long");
}

TEST(TaskStressDeathTest, FindsTwoJobsOfOneIsolationAtOnce) {
  // The thread sanitizer may find the same mistake first.
  EXPECT_DEATH(stressTasks(broken(Breakage::sharedIsolation, Executor::threads)),
               "two jobs of one isolation ran at once|SUMMARY: ThreadSanitizer: data race .*Round::step");
}

TEST(TaskStressDeathTest, FindsALostElement) {
  EXPECT_DEATH(stressTasks(broken(Breakage::lostElement, Executor::seeded)), "a stream lost an element");
}

TEST(TaskStressDeathTest, FindsATaskThatRunsAfterItsOwnersEnd) {
  EXPECT_DEATH(stressTasks(broken(Breakage::forgottenOwner, Executor::seeded)), "a task ran after its owner's end");
}

TEST(TaskStressDeathTest, FindsAChildThatRunsTwice) {
  EXPECT_DEATH(stressTasks(broken(Breakage::childTwice, Executor::seeded)), "a group gave a child twice");
}

TEST(TaskStressDeathTest, FindsALostTaskLocalValue) {
  EXPECT_DEATH(stressTasks(broken(Breakage::lostTaskLocal, Executor::seeded)), "work lost its task-local value");
}

}  // namespace
}  // namespace Tessaly::Tests
