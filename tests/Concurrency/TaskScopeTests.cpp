// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>

#include "Tessaly/Concurrency/TaskScope.hpp"
#include "Tessaly/Core/Tasks/BlockingWork.hpp"
#include "Tessaly/Core/Tasks/Cancellation.hpp"
#include "Tessaly/Core/Tasks/MainQueue.hpp"
#include "Tessaly/Core/Tasks/SyncWait.hpp"
#include "Tessaly/Core/Tasks/WithIsolation.hpp"
#include "Tessaly/Platform/Testing/ManualClock.hpp"

namespace Tessaly {
namespace {

// A task that sleeps for an hour, and then records the reason of its wake-up.
auto nap(ManualClock& clock, std::string& outcome) {
  return [&]() -> Async<void> {
    try {
      co_await Task<>::sleep(std::chrono::hours(1), clock);
      outcome = "slept";
    } catch (const CancellationError&) {
      outcome = "cancelled";
    }
  };
}

TEST(TaskScope, DestructorCancelsAndWaits) {
  ManualClock clock;
  std::string onMainThread;
  std::string onThePool;
  {
    TaskScope scope;
    scope.add(nap(clock, onMainThread));
    scope.add({.isolation = Isolation()}, nap(clock, onThePool));
  }
  EXPECT_EQ(onMainThread, "cancelled");
  EXPECT_EQ(onThePool, "cancelled");
}

TEST(TaskScope, DestructorWaitsForWorkThatIgnoresCancellation) {
  std::atomic<bool> isCancelled{false};
  bool isDone = false;
  {
    TaskScope scope;
    const Task<> task = scope.add([&]() -> Async<void> {
      co_await runBlocking([&] {
        while (!isCancelled) std::this_thread::yield();
        isDone = true;
      });
    });
    scope.add([&isCancelled, task]() -> Async<void> {
      while (!task.isCancelled()) co_await Task<>::yield();
      isCancelled = true;
    });
  }
  EXPECT_TRUE(isDone);
}

TEST(TaskScope, WaitLetsTasksFinish) {
  int sum = 0;
  TaskScope scope;
  for (int i = 1; i <= 3; ++i) {
    scope.add([&sum, i]() -> Async<void> {
      co_await Task<>::yield();
      sum += i;
    });
  }
  scope.wait();
  EXPECT_EQ(sum, 6);
}

TEST(TaskScope, ServesTheMainQueueWhileItWaits) {
  bool ran = false;
  {
    TaskScope scope;
    scope.add({.isolation = Isolation()},
              [&]() -> Async<void> { co_await withIsolation(Isolation::main(), [&] { ran = true; }); });
  }
  EXPECT_TRUE(ran);
}

TEST(TaskScope, CancelLeavesItUsable) {
  ManualClock clock;
  std::string outcome;
  bool ranLater = false;
  TaskScope scope;
  const Task<> first = scope.add(nap(clock, outcome));
  scope.cancel();
  EXPECT_TRUE(first.isCancelled());
  const Task<> second = scope.add([&] { ranLater = true; });
  EXPECT_FALSE(second.isCancelled());
  scope.wait();
  EXPECT_EQ(outcome, "cancelled");
  EXPECT_TRUE(ranLater);
}

TEST(TaskScope, WaitsOnAThreadOfTheHost) {
  ManualClock clock;
  std::string outcome;
  std::thread([&] {
    TaskScope scope;
    scope.add(nap(clock, outcome));
  }).join();
  EXPECT_EQ(outcome, "cancelled");
}

TEST(TaskScope, DropsTheErrorsOfItsTasks) {
  std::optional<TaskScope> scope(std::in_place);
  const Task<> task = scope->add([] { throw std::runtime_error("unseen"); });
  scope.reset();
  EXPECT_TRUE(task.isFinished());
}

// A task that sleeps for an hour, and calls the handler when it is cancelled.
template <typename Handler>
auto napWithHandler(ManualClock& clock, Handler handler) {
  return [&clock, handler]() -> Async<void> {
    try {
      co_await withTaskCancellationHandler([&clock] { return Task<>::sleep(std::chrono::hours(1), clock); }, handler);
    } catch (const CancellationError&) {
    }
  };
}

TEST(TaskScope, CancellationHandlersMayAddTasks) {
  constexpr int count = 16;  // The list is full, so it moves when a handler adds a task.
  ManualClock clock;
  int cancelled = 0;
  int ran = 0;
  TaskScope scope;
  for (int i = 0; i < count; ++i) {
    scope.add(napWithHandler(clock, [&] {
      ++cancelled;
      scope.add([&ran] { ran += Task<>::isCurrentCancelled() ? 0 : 1; });
    }));
  }
  MainQueue::drain();
  scope.cancel();
  EXPECT_EQ(cancelled, count);
  scope.wait();
  EXPECT_EQ(ran, count);
}

TEST(TaskScope, CancellationHandlerMayDestroyTheScope) {
  ManualClock clock;
  auto scope = std::make_unique<TaskScope>();
  scope->add(napWithHandler(clock, [&scope] { scope.reset(); }));
  const Task<> second = scope->add(napWithHandler(clock, [] {}));
  MainQueue::drain();
  scope->cancel();
  EXPECT_EQ(scope, nullptr);
  EXPECT_TRUE(second.isFinished());
}

TEST(TaskScope, DestructorCancelsAndAwaitsTasksAddedMeanwhile) {
  bool wasCancelled = false;
  bool ran = false;
  {
    TaskScope scope;
    scope.add([&] { wasCancelled = scope.add([&ran] { ran = true; }).isCancelled(); });
  }
  EXPECT_TRUE(wasCancelled);
  EXPECT_TRUE(ran);
}

TEST(TaskScope, DestructorAwaitsATaskThatAnErrorAdds) {
  bool ran = false;
  {
    TaskScope scope;
    scope.add([&] {
      throw std::shared_ptr<int>(new int(0), [&](const int* number) {
        delete number;
        scope.add([&ran] { ran = true; });
      });
    });
  }
  EXPECT_TRUE(ran);
}

TEST(TaskScopeDeathTest, WaitingOnThePoolStopsTheProcess) {
  EXPECT_EXIT(syncWait(Task<>({.isolation = Isolation()}, [] { const TaskScope scope; }).value()),
              testing::KilledBySignal(SIGABRT), "would deadlock");
}

TEST(TaskScopeDeathTest, WaitingInASerialIsolationStopsTheProcess) {
  EXPECT_EXIT(syncWait(Task<>({.isolation = Isolation::serial()}, [] { const TaskScope scope; }).value()),
              testing::KilledBySignal(SIGABRT), "would deadlock");
}

TEST(TaskScopeDeathTest, TaskThatWaitsForItsOwnScopeStopsTheProcess) {
  const auto waitInside = [](auto start) {
    TaskScope scope;
    scope.add([&]() -> Async<void> {
      start([&] { scope.wait(); });
      co_return;
    });
    scope.wait();
  };
  constexpr auto message =
      "^Tessaly/TaskScope:[0-9]+: Fatal error: A task of a TaskScope waited for its own scope, which would deadlock\n$";
  EXPECT_EXIT(waitInside([](auto wait) { wait(); }), testing::KilledBySignal(SIGABRT), message);
  // A task that the scope's task starts must not wait either.
  EXPECT_EXIT(waitInside([](auto wait) { syncWait(Task<>(wait).value()); }), testing::KilledBySignal(SIGABRT), message);
}

}  // namespace
}  // namespace Tessaly
