// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <poll.h>

#include <atomic>
#include <latch>
#include <thread>
#include <vector>

#include "Tessaly/Core/Tasks/MainQueue.hpp"
#include "Tessaly/Core/Tasks/OS_dispatch_queue.hpp"
#include "Tessaly/Core/Tasks/SyncWait.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"
#include "tests/Support/ForkedChild.hpp"
#include "tests/Support/Repetitions.hpp"

namespace Tessaly {
namespace {

bool isReadable(int descriptor) {
  pollfd watched{descriptor, POLLIN, 0};
  return ::poll(&watched, 1, 0) == 1;
}

TEST(MainQueue, TellsTheMainThreadFromOthers) {
  EXPECT_TRUE(MainQueue::isMainThread());
  std::thread([] { EXPECT_FALSE(MainQueue::isMainThread()); }).join();
}

TEST(MainQueue, MayBeAdoptedByAnotherThreadBeforeFirstUse) {
  std::thread([] {
    MainQueue::adopt();
    EXPECT_TRUE(MainQueue::isMainThread());
    EXPECT_EQ(syncWait([] { return 5; }), 5);
  }).join();
  EXPECT_FALSE(MainQueue::isMainThread());
}

TEST(MainQueue, ForkingThreadIsTheMainThreadOfTheChild) {
  for (const bool isAdopted : {true, false}) {
    SCOPED_TRACE(isAdopted);
    // A process of its own, in which nothing has used the main thread yet.
    EXPECT_EQ(Tests::exitStatusOfForkedChild([&] {
                if (isAdopted) MainQueue::adopt();
                if (!isAdopted && !MainQueue::isMainThread()) return 1;
                return Tests::exitStatusOfForkedChild([] {
                  MainQueue::adopt();
                  MainQueue::drain();
                  return MainQueue::isMainThread() ? 5 : 6;
                });
              }),
              5);
  }
}

TEST(MainQueue, RunsItsJobsInOrderWhenDrained) {
  std::vector<int> order;
  for (int i = 0; i < 3; ++i) OS_dispatch_queue::main().async([&, i] { order.push_back(i); });
  EXPECT_TRUE(order.empty());
  EXPECT_EQ(MainQueue::drain(), 3U);
  EXPECT_EQ(order, (std::vector<int>{0, 1, 2}));
}

TEST(MainQueue, DrainRunsOnlyWhatWasThereOnEntry) {
  bool hasRunLater = false;
  OS_dispatch_queue::main().async([&] { OS_dispatch_queue::main().async([&] { hasRunLater = true; }); });
  EXPECT_EQ(MainQueue::drain(), 1U);
  EXPECT_FALSE(hasRunLater);
  EXPECT_EQ(MainQueue::drain(), 1U);
  EXPECT_TRUE(hasRunLater);
}

TEST(MainQueue, ItsDescriptorIsReadableWhileWorkWaits) {
  const int descriptor = MainQueue::fileDescriptor();
  EXPECT_FALSE(isReadable(descriptor));
  OS_dispatch_queue::main().async([] { OS_dispatch_queue::main().async([] {}); });
  EXPECT_TRUE(isReadable(descriptor));
  MainQueue::drain();
  EXPECT_TRUE(isReadable(descriptor)) << "a job came during the drain";
  MainQueue::drain();
  EXPECT_FALSE(isReadable(descriptor));
}

TEST(MainQueue, AModalLoopInsideAJobRunsTheJobsBehindIt) {
  std::vector<int> order;
  OS_dispatch_queue::main().async([&] {
    order.push_back(1);
    MainQueue::drain();
    order.push_back(4);
  });
  OS_dispatch_queue::main().async([&] { order.push_back(2); });
  OS_dispatch_queue::main().async([&] { order.push_back(3); });
  MainQueue::drain();
  EXPECT_EQ(order, (std::vector<int>{1, 2, 3, 4}));
}

TEST(MainQueue, AModalLoopInsideATaskKeepsTheCurrentTask) {
  const Task<> other({.priority = TaskPriority::background}, [] {});
  const Task<> task({.priority = TaskPriority::high}, [&] {
    MainQueue::drain();
    EXPECT_EQ(Task<>::currentPriority(), TaskPriority::high);
    EXPECT_EQ(Isolation::current(), Isolation::main());
  });
  syncWait(task.value());
  EXPECT_TRUE(other.isFinished());
}

TEST(MainQueue, RunServesUntilStopped) {
  int count = 0;
  const Task<> task({.isolation = Isolation()}, [&] {
    for (int i = 0; i < 100; ++i) OS_dispatch_queue::main().async([&] { ++count; });
    OS_dispatch_queue::main().async([] { MainQueue::stop(); });
  });
  MainQueue::run();
  EXPECT_EQ(count, 100);
  syncWait(task.value());
}

TEST(MainQueue, EndedRunLeavesItsJobsToTheDescriptor) {
  for (int round = 0; round < Tests::repetitions(100); ++round) {
    bool hasRun = false;
    std::latch isRunning(1);
    OS_dispatch_queue::main().async([&] { isRunning.count_down(); });
    std::thread other([&] {
      isRunning.wait();
      for (int i = 0; i < round % 10; ++i)
        std::this_thread::yield();  // Often the main thread has fallen asleep by then.
      OS_dispatch_queue::main().async([&] { hasRun = true; });
      MainQueue::stop();
    });
    MainQueue::run();
    EXPECT_TRUE(hasRun || isReadable(MainQueue::fileDescriptor())) << "round " << round;
    other.join();
    MainQueue::drain();
    EXPECT_TRUE(hasRun);
  }
}

TEST(MainQueue, JobsFromOtherThreadsWakeRunEachTime) {
  constexpr int jobs = 2'000;
  int count = 0;
  std::thread other([&] {
    for (int i = 0; i < jobs; ++i) {
      std::latch hasRun(1);
      OS_dispatch_queue::main().async([&] {
        ++count;
        hasRun.count_down();
      });
      hasRun.wait();
    }
    MainQueue::stop();
  });
  MainQueue::run();
  other.join();
  EXPECT_EQ(count, jobs);
}

TEST(MainQueue, StopEndsTheInnermostRun) {
  std::vector<int> order;
  OS_dispatch_queue::main().async([&] {
    OS_dispatch_queue::main().async([] { MainQueue::stop(); });
    MainQueue::run();
    order.push_back(1);
    OS_dispatch_queue::main().async([] { MainQueue::stop(); });
  });
  MainQueue::run();
  order.push_back(2);
  EXPECT_EQ(order, (std::vector<int>{1, 2}));
}

TEST(MainQueue, RunEndsOnceTheRunningJobHasReturned) {
  bool hasRunNext = false;
  OS_dispatch_queue::main().async([] { MainQueue::stop(); });
  OS_dispatch_queue::main().async([&] { hasRunNext = true; });
  MainQueue::run();
  EXPECT_FALSE(hasRunNext);
  EXPECT_TRUE(isReadable(MainQueue::fileDescriptor()));
  EXPECT_EQ(MainQueue::drain(), 1U);
  EXPECT_TRUE(hasRunNext);
}

TEST(MainQueue, NestedRunKeepsTheStopOfTheOuterRun) {
  std::vector<int> order;
  OS_dispatch_queue::main().async([&] {
    MainQueue::stop();
    OS_dispatch_queue::main().async([&] {
      order.push_back(1);
      MainQueue::stop();
    });
    MainQueue::run();
    order.push_back(2);
  });
  MainQueue::run();
  EXPECT_EQ(order, (std::vector<int>{1, 2}));
}

TEST(MainQueue, StopBeforeRunEndsTheNextRunAtOnce) {
  bool hasRun = false;
  MainQueue::stop();
  OS_dispatch_queue::main().async([&] { hasRun = true; });
  MainQueue::run();
  EXPECT_FALSE(hasRun);
  EXPECT_EQ(MainQueue::drain(), 1U);
}

TEST(MainQueue, LosesNothingFromManyThreads) {
  constexpr int perThread = 10'000;
  int count = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int j = 0; j < perThread; ++j) OS_dispatch_queue::main().async([&] { ++count; });
    });
  }
  pollfd watched{MainQueue::fileDescriptor(), POLLIN, 0};
  while (count < 4 * perThread) {
    ASSERT_EQ(::poll(&watched, 1, 10'000), 1) << "work waits, and the descriptor does not tell";
    MainQueue::drain();
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(count, 4 * perThread);
}

TEST(SyncWait, ServesTheMainQueueMeanwhile) {
  const int value = syncWait([]() -> Async<int> {
    const Task<int> elsewhere({.isolation = Isolation()}, []() -> Async<int> {
      const Task<int> here({.isolation = Isolation::main()}, [] { return 6; });
      co_return co_await here.value();
    });
    co_return co_await elsewhere.value();
  });
  EXPECT_EQ(value, 6);
}

TEST(SyncWait, MayBeNestedOnTheMainThread) {
  EXPECT_EQ(syncWait([] { return syncWait([] { return syncWait([] { return 2; }) + 1; }) + 1; }), 4);
}

TEST(SyncWait, WorksOnAThreadOfTheHosts) {
  std::thread([] {
    EXPECT_EQ(syncWait([]() -> Async<int> {
                co_await Task<>::yield();
                co_return 8;
              }),
              8);
  }).join();
}

TEST(SyncWait, EndsForEveryThreadUnderLoad) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([] {
      for (int j = 0; j < Tests::repetitions(200); ++j) {
        ASSERT_EQ(syncWait([]() -> Async<int> {
                    co_await Task<>::yield();
                    co_return 1;
                  }),
                  1);
      }
    });
  }
  for (auto& thread : threads) thread.join();
}

TEST(MainQueueDeathTest, StopsTheProcessWhenDrainedElsewhere) {
  EXPECT_DEATH(std::thread([] { MainQueue::drain(); }).join(),
               "^Tessaly/MainQueue:[0-9]+: Fatal error: Incorrect actor executor assumption; Expected same executor as "
               "MainQueue\\.\n$");
}

TEST(MainQueueDeathTest, AssertMainIsolatedNamesTheFileAndTheLine) {
  assertMainIsolated("Tessaly/Window", 12);
  EXPECT_DEATH(std::thread([] { assertMainIsolated("Tessaly/Window", 12); }).join(),
               "^Tessaly/Window:12: Fatal error: Incorrect actor executor assumption; Expected same executor as ");
}

TEST(MainQueueDeathTest, StopsTheProcessWhenAdoptedTooLate) {
  EXPECT_DEATH(
      {
        static_cast<void>(MainQueue::isMainThread());
        std::thread([] { MainQueue::adopt(); }).join();
      },
      "^Tessaly/MainQueue:[0-9]+: Fatal error: The main thread was adopted after its first use\n$");
}

TEST(SyncWaitDeathTest, StopsTheProcessOnThePool) {
  EXPECT_DEATH(syncWait(Task<int>({.isolation = Isolation()}, [] { return syncWait([] { return 1; }); }).value()),
               "^Tessaly/SyncWait:[0-9]+: Fatal error: syncWait was called on a thread of the pool or in a job of a "
               "serial executor, where it would deadlock\n$");
}

TEST(SyncWaitDeathTest, StopsTheProcessInAJobOfASerialExecutor) {
  EXPECT_DEATH(
      syncWait(Task<int>({.isolation = Isolation::serial()}, [] { return syncWait([] { return 1; }); }).value()),
      "Fatal error: syncWait was called on a thread of the pool or in a job of a serial executor");
}

TEST(DispatchQueue, RunsOnTheGlobalQueueByQualityOfService) {
  EXPECT_EQ(OS_dispatch_queue::global(QualityOfService::background).priority(), TaskPriority::background);
  EXPECT_EQ(OS_dispatch_queue::global(QualityOfService::utility).priority(), TaskPriority::low);
  EXPECT_EQ(OS_dispatch_queue::global().priority(), TaskPriority::medium);
  EXPECT_EQ(OS_dispatch_queue::global(QualityOfService::userInitiated).priority(), TaskPriority::high);
  EXPECT_EQ(OS_dispatch_queue::global(QualityOfService::userInteractive).priority(), TaskPriority::high);
  std::latch done(1);
  std::thread::id runner;
  OS_dispatch_queue::global().async([&] {
    runner = std::this_thread::get_id();
    done.count_down();
  });
  done.wait();
  EXPECT_NE(runner, std::this_thread::get_id());
}

TEST(DispatchQueueDeathTest, AFunctionThatThrowsStopsTheProcess) {
  EXPECT_DEATH(
      {
        OS_dispatch_queue::main().async([] { throw 1; });
        MainQueue::drain();
      },
      "^Tessaly/Notification:[0-9]+: Fatal error: A function on a dispatch queue has thrown\n$");
}

}  // namespace
}  // namespace Tessaly
