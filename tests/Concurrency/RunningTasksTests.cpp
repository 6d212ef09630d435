// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <vector>

#include "Tessaly/Concurrency/detail/RunningTasks.hpp"
#include "Tessaly/Platform/Testing/ManualClock.hpp"
#include "tests/Core/Tasks/Streams.hpp"

namespace Tessaly {
namespace {

TEST(RunningTasks, FullListLosesItsFinishedTasksOnly) {
  ManualClock clock;
  std::vector<Task<>> tasks;
  for (int i = 0; i < 1'000; ++i) {
    for (const Task<>& finished : detail::makeRoomForTask(tasks)) EXPECT_TRUE(finished.isFinished());
    ASSERT_LT(tasks.size(), tasks.capacity());
    tasks.push_back(i % 100 == 0 ? Tests::start([&clock] { return Task<>::sleep(std::chrono::hours(1), clock); })
                                 : Tests::start([] {}));
    Tests::settle();
  }
  EXPECT_LE(tasks.size(), 32U);
  EXPECT_EQ(std::ranges::count_if(tasks, [](const Task<>& task) { return !task.isFinished(); }), 10);
  for (const Task<>& task : tasks) task.cancel();
  Tests::settle();
}

}  // namespace
}  // namespace Tessaly
