// SPDX-License-Identifier: MIT
// The kinds of work with tasks, groups, cancellation, isolations and continuations.

#include <atomic>
#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "Tessaly/Core/Base/Error.hpp"
#include "Tessaly/Core/Tasks/BlockingWork.hpp"
#include "Tessaly/Core/Tasks/Cancellation.hpp"
#include "Tessaly/Core/Tasks/CheckedContinuation.hpp"
#include "Tessaly/Core/Tasks/OS_dispatch_queue.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"
#include "Tessaly/Core/Tasks/TaskGroup.hpp"
#include "Tessaly/Core/Tasks/WithIsolation.hpp"
#include "tests/stress/StressWork.hpp"

namespace Tessaly::Tests {

Async<long> runSleep(Context context, const Plan& plan) {
  StressRandom random(plan.seed);
  try {
    co_await Task<>::sleep(std::chrono::microseconds(random.below(300)), context.round.clock);
  } catch (const CancellationError&) {
    context.round.expect(Task<>::isCurrentCancelled(), "a sleep ended by a cancellation that never came");
  }
  co_return 0;
}

namespace {

/// Cancels a task even if an owner's end destroys the coroutine that would have done it.
class CancelAtEnd {
 public:
  explicit CancelAtEnd(Task<bool> task) : task_(std::move(task)) {}
  ~CancelAtEnd() { task_.cancel(); }
  CancelAtEnd(const CancelAtEnd&) = delete;
  CancelAtEnd& operator=(const CancelAtEnd&) = delete;

 private:
  const Task<bool> task_;
};

}  // namespace

/// A sleep of an hour that a cancellation ends.
Async<long> runInterruptedSleep(Context context, const Plan& plan) {
  StressRandom random(plan.seed);
  const Task<bool> sleeper([context, &plan]() -> Async<bool> {
    context.round.step(context, plan);
    try {
      co_await Task<>::sleep(std::chrono::hours(1), context.round.clock);
    } catch (const CancellationError&) {
      context.round.step(context, plan);
      co_return true;
    }
    co_return false;
  });
  const CancelAtEnd end(sleeper);
  co_await pause(random);
  sleeper.cancel();
  context.round.expect(co_await sleeper.value(), "a cancelled sleep did not throw");
  co_return 0;
}

/// Resumes a continuation from several places. One of them wins.
Async<long> runContinuation(Context context, const Plan& plan) {
  StressRandom random(plan.seed);
  const auto isTaken = std::make_shared<std::atomic<bool>>(false);
  const bool isOnMain = random.isOneOf(2);
  const bool fails = random.isOneOf(3);
  const auto start = [&](CheckedContinuation<long> handle) {
    const auto resume = [isTaken, handle, fails, value = plan.value, context] {
      if (isTaken->exchange(true, std::memory_order_relaxed)) return;
      fails ? handle.resumeThrowing(StressError(value)) : handle.resume(value);
    };
    (isOnMain ? OS_dispatch_queue::main() : OS_dispatch_queue::global()).async(resume);
    const Task<> other([resume] { resume(); });
    if (fails) other.cancel();
  };
  long result = 0;
  try {
    result = co_await withCheckedContinuation<long>(start);
    context.round.expect(!fails, "a continuation lost its error");
  } catch (const StressError& error) {
    context.round.expect(fails, "a continuation threw an error of its own");
    result = error.total;
  }
  context.round.expect(result == plan.value, "a continuation changed its value");
  co_return 0;
}

Async<long> runBlockingLeaf(Context context, const Plan& plan) {
  const long result = co_await runBlocking([value = plan.value] { return value + 1; });
  context.round.expect(result == plan.value + 1, "blocking work changed its value");
  co_return 0;
}

namespace {

/// The part of the total from the next child that ends. A failed child counts three times, a cancelled child zero.
/// Absent after the last child.
Async<std::optional<long>> nextOf(TaskGroup<long>& group) {
  try {
    co_return co_await group.next();
  } catch (const StressError& error) {
    co_return 3 * error.total;
  } catch (const CancellationError&) {
    co_return 0;
  }
}

}  // namespace

Async<long> runGroup(Context context, const Plan& plan) {
  co_return co_await withTaskGroup<long>([&](TaskGroup<long>& group) -> Async<long> {
    StressRandom random(plan.seed);
    std::size_t running = 0;
    for (const Plan& child : plan.children) {
      const TaskPriority least = random.isOneOf(2) ? priorityBy(random) : context.priority;
      Zone* const zone = random.isOneOf(3) ? context.round.anyZone(random) : nullptr;
      const TaskOptions options{.priority = least, .isolation = zone != nullptr ? zone->isolation : Isolation()};
      const Context own = context.in(zone).withPriority(least);
      group.addTask(options, [own, &child] { return run(own, child); });
      ++running;
      if (context.round.breakage == Breakage::childTwice && running == 1) {
        group.addTask(options, [own, &child] { return run(own, child); });
      }
    }
    co_await pause(random);
    long sum = 0;
    for (; auto result = co_await nextOf(group); --running) {
      context.round.expect(running != 0, "a group gave a child twice");
      sum += *result;
      context.round.step(context, plan);
    }
    context.round.expect(running == 0, "a group lost a child");
    co_return sum;
  });
}

/// A group whose body throws, so that its children are cancelled and waited for.
Async<long> runFailingGroup(Context context, const Plan& plan) {
  bool hasThrown = false;
  try {
    co_await withTaskGroup<long>([&](TaskGroup<long>& group) -> Async<void> {
      StressRandom random(plan.seed);
      for (const Plan& child : plan.children) {
        group.addTask([own = context.in(nullptr), &child] { return run(own, child); });
      }
      co_await pause(random);
      throw StressError(plan.value);
    });
  } catch (const StressError& error) {
    hasThrown = error.total == plan.value;
  }
  context.round.expect(hasThrown, "a group lost the error of its body");
  for (const Plan& child : plan.children) {
    context.round.expect(child.begun.load() == child.ended.load(), "a group ended before its child");
  }
  co_return 0;
}

/// A group whose first result ends the others.
Async<long> runRace(Context context, const Plan& plan) {
  co_await withTaskGroup<long>([&](TaskGroup<long>& group) -> Async<void> {
    for (const Plan& child : plan.children) {
      group.addTask([own = context.in(nullptr), &child] { return run(own, child); });
    }
    context.round.expect((co_await nextOf(group)).has_value(), "a group lost its first child");
    group.cancelAll();
  });
  for (const Plan& child : plan.children) {
    context.round.expect(child.begun.load() == 1 && child.ended.load() == 1, "a group ended before its child");
  }
  co_return 0;
}

namespace {

Task<long> startTask(const Context& context, const Plan& child, StressRandom& random) {
  const TaskPriority least = priorityBy(random);
  if (random.isOneOf(4)) {
    const Context own = context.outsideTasks().withPriority(least);
    return Task<long>::detached({.priority = least}, [own, &child] { return contribution(own, child); });
  }
  if (random.isOneOf(2)) return Task<long>([context, &child] { return contribution(context, child); });
  Zone* const zone = context.round.anyZone(random);
  const Context own = context.in(zone).withPriority(least);
  return Task<long>({.priority = least, .isolation = zone != nullptr ? zone->isolation : Isolation()},
                    [own, &child] { return contribution(own, child); });
}

}  // namespace

/// Tasks of their own, each awaited by this one and perhaps by another one.
Async<long> runTasks(Context context, const Plan& plan) {
  StressRandom random(plan.seed);
  std::vector<Task<long>> tasks;
  for (const Plan& child : plan.children) {
    tasks.push_back(startTask(context, child, random));
    co_await pause(random);
    if (random.isOneOf(3)) {
      Task<long>([task = tasks.back(), context]() -> Async<long> { co_return co_await task.value(); });
    }
  }
  long sum = 0;
  for (const auto& task : tasks) {
    sum += co_await task.value();
    context.round.step(context, plan);
  }
  co_return sum;
}

/// Cancels tasks at some point of their work: from here, from another queue, or in a cancellation handler.
Async<long> runCancelledTasks(Context context, const Plan& plan) {
  StressRandom random(plan.seed);
  for (const Plan& child : plan.children) {
    const Task<long> task = startTask(context, child, random);
    for (unsigned yields = random.below(12); yields > 0; --yields) co_await Task<>::yield();
    if (random.isOneOf(3)) OS_dispatch_queue::global().async([task, context] { task.cancel(); });
    task.cancel();
    co_await withTaskCancellationHandler([&] { return task.finished(); }, [&] { task.cancel(); });
    context.round.expect(task.isFinished(), "a task was awaited and had not ended");
    context.round.step(context, plan);
  }
  co_return 0;
}

Async<long> runHop(Context context, const Plan& plan) {
  StressRandom random(plan.seed);
  Zone* const zone = context.round.anyZone(random);
  const Context own = context.in(zone);
  const Isolation isolation = zone != nullptr ? zone->isolation : Isolation();
  co_return co_await withIsolation(isolation, [&]() -> Async<long> {
    own.round.step(own, plan);
    co_await pause(random);
    co_return co_await contribution(own, plan.children.front());
  });
}

Async<long> runTaskLocal(Context context, const Plan& plan) {
  const int value = 1 + static_cast<int>(plan.value);
  const Context own = context.withLocal(value);
  const bool isBound = context.round.breakage != Breakage::lostTaskLocal;
  co_return co_await stressLocal.withValue(isBound ? value : context.local,
                                           [&] { return contribution(own, plan.children.front()); });
}

}  // namespace Tessaly::Tests
