// SPDX-License-Identifier: MIT
// The kinds of work that end with an owner, and threads that wait for tasks.

#include <atomic>
#include <vector>

#include "Tessaly/Concurrency/OwnedTasks.hpp"
#include "Tessaly/Concurrency/TaskScope.hpp"
#include "Tessaly/Core/Tasks/BlockingWork.hpp"
#include "Tessaly/Core/Tasks/SyncWait.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"
#include "Tessaly/Core/Tasks/WithIsolation.hpp"
#include "tests/stress/StressWork.hpp"

namespace Tessaly::Tests {

namespace {

/// Starts the tasks of an object that ends while they run.
Async<void> useOwner(Context context, const Plan& plan, StressRandom& random) {
  Owned& owned = context.round.makeOwned();
  const Context own = context.withOwner(owned);
  std::vector<Task<>> forgotten;
  OwnedTasks tasks;
  for (const Plan& child : plan.children) {
    const TaskPriority least = priorityBy(random);
    const auto work = [own = own.withPriority(least), &child]() -> Async<void> {
      own.round.step(own, child);
      static_cast<void>(co_await contribution(own, child));
      own.round.step(own, child);
    };
    if (context.round.breakage == Breakage::forgottenOwner) {
      forgotten.emplace_back(TaskOptions{.priority = least}, work);
    } else {
      tasks.add(least, work);
    }
  }
  for (unsigned yields = random.below(10); yields > 0; --yields) {
    co_await Task<>::yield();
    context.round.step(context, plan);
  }
  if (random.isOneOf(2)) co_await runSleep(context, plan);
  for (const auto& task : forgotten) task.cancel();
  tasks.end();
  owned.hasEnded = true;
}

}  // namespace

Async<long> runOwner(Context context, const Plan& plan) {
  StressRandom random(plan.seed);
  Zone& zone = context.round.exclusiveZone(random);
  co_await withIsolation(zone.isolation, [&] { return useOwner(context.in(&zone), plan, random); });
  co_return 0;
}

/// Ordinary code that waits for its tasks, which use its variables.
Async<long> runScope(Context context, const Plan& plan) {
  const Context own = context.outsideTasks();
  co_await runBlocking([&] {
    StressRandom random(plan.seed);
    std::atomic<unsigned> ended{0};
    {
      TaskScope scope;
      for (const Plan& child : plan.children) {
        scope.add([&ended, own, &child]() -> Async<void> {
          static_cast<void>(co_await contribution(own, child));
          ended.fetch_add(1, std::memory_order_relaxed);
        });
      }
      if (random.isOneOf(3)) scope.wait();
    }
    own.round.expect(ended.load() == plan.children.size(), "a scope ended before its tasks");
  });
  co_return 0;
}

/// A thread that may block, and waits for a task.
Async<long> runWaitingThread(Context context, const Plan& plan) {
  const Context own = context.outsideTasks();
  co_return co_await runBlocking([&] { return syncWait([&] { return contribution(own, plan.children.front()); }); });
}

}  // namespace Tessaly::Tests
