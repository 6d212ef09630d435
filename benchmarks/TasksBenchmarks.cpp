// SPDX-License-Identifier: MIT
#include <chrono>
#include <deque>
#include <memory>
#include <optional>
#include <utility>

#include "Doorbell.hpp"
#include "Harness.hpp"
#include "Tessaly/Core/Tasks/Async.hpp"
#include "Tessaly/Core/Tasks/AsyncStream.hpp"
#include "Tessaly/Core/Tasks/Cancellation.hpp"
#include "Tessaly/Core/Tasks/Clock.hpp"
#include "Tessaly/Core/Tasks/GlobalExecutor.hpp"
#include "Tessaly/Core/Tasks/SyncWait.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"
#include "Tessaly/Core/Tasks/TaskGroup.hpp"
#include "Tessaly/Core/Tasks/WithIsolation.hpp"
#include "Tessaly/Core/Tasks/detail/Reactor.hpp"
#include "peers/AsioPeers.hpp"
#include "peers/GLibPeers.hpp"
#include "peers/KernelPeers.hpp"
#include "peers/StandardPeers.hpp"
#include "peers/TbbPeers.hpp"

namespace Tessaly::Benchmarks {
namespace {

// The batches are long, so that their start and the wake-up of the main thread do not show.
constexpr int awaits = 20'000;
constexpr int hops = 20'000;
constexpr int tasks = 1'000;
constexpr int roundTrips = 1'000;
constexpr int handlers = 10'000;
constexpr int timers = 1'000;
constexpr int otherTimers = 100;
constexpr std::chrono::seconds otherTimersApart(6);
constexpr std::chrono::milliseconds soon(50);
constexpr std::chrono::milliseconds middle = std::chrono::minutes(30);
constexpr std::chrono::milliseconds late = std::chrono::hours(1);
constexpr int rings = 100;
constexpr int sleeps = 20;
constexpr int sleepMicroseconds = 50;

[[gnu::noinline]] Async<int> answer(int value) { co_return value; }

Async<void> awaitAnswers() {
  int total = 0;
  for (int i = 0; i < awaits; ++i) total += co_await answer(i);
  benchmark::DoNotOptimize(total);
}

/// Runs a closure that returns an `Async<void>` on the pool, and waits for it on this thread.
template <typename Operation>
auto onPool(Operation operation) {
  return [operation] { syncWait(Task<void>::detached(operation).value()); };
}

Async<void> yieldRepeatedly(int count) {
  for (int i = 0; i < count; ++i) co_await Task<>::yield();
}

constexpr int manyTasks = 4;

Async<void> yieldInManyTasks() {
  co_await withTaskGroup([](TaskGroup<void>& group) -> Async<void> {
    for (int i = 0; i < manyTasks; ++i) group.addTask([] { return yieldRepeatedly(hops / manyTasks); });
    co_await group.waitForAll();
  });
}

Async<void> createAndAwaitTasks() {
  int total = 0;
  for (int i = 0; i < tasks; ++i) {
    Task<int> task([i] { return answer(i); });
    total += co_await task.value();
  }
  benchmark::DoNotOptimize(total);
}

void createAndWaitForTasks() {
  int total = 0;
  for (int i = 0; i < tasks; ++i) total += syncWait(Task<int>::detached([i] { return answer(i); }).value());
  benchmark::DoNotOptimize(total);
}

Async<void> runGroup() {
  const int sum = co_await withTaskGroup<int>([](TaskGroup<int>& group) -> Async<int> {
    for (int i = 0; i < tasks; ++i) group.addTask([i] { return i; });
    int total = 0;
    while (const auto result = co_await group.next()) total += *result;
    co_return total;
  });
  benchmark::DoNotOptimize(sum);
}

Async<void> visitMain() {
  int visits = 0;
  for (int i = 0; i < roundTrips; ++i) co_await withIsolation(Isolation::main(), [&visits] { ++visits; });
  benchmark::DoNotOptimize(visits);
}

Async<void> visitSerialExecutor() {
  const Isolation isolation = Isolation::serial();
  int visits = 0;
  for (int i = 0; i < hops; ++i) co_await withIsolation(isolation, [&visits] { ++visits; });
  benchmark::DoNotOptimize(visits);
}

Async<void> addAndRemoveHandlers() {
  int hits = 0;
  for (int i = 0; i < handlers; ++i) {
    benchmark::DoNotOptimize(co_await withTaskCancellationHandler([i] { return answer(i); }, [&hits] { ++hits; }));
  }
  benchmark::DoNotOptimize(hits);
}

struct IgnoredTimer final : ClockTimer {
  explicit IgnoredTimer(Clock::Instant deadline) : ClockTimer([](ClockTimer&) noexcept {}) {
    setDeadline(deadline);
    ContinuousClock::shared().add(*this);
  }
  ~IgnoredTimer() { benchmark::DoNotOptimize(ContinuousClock::shared().remove(*this)); }
};

/// Sets and removes timers while other timers wait for 25 to 35 minutes.
auto setAndRemoveTimers(std::chrono::milliseconds delay) {
  return [delay] {
    auto others = std::make_shared<std::deque<IgnoredTimer>>();
    for (int i = 0; i < otherTimers; ++i) {
      others->emplace_back(ContinuousClock::shared().now() + std::chrono::minutes(25) + i * otherTimersApart);
    }
    return [delay, others] {
      for (int i = 0; i < timers; ++i) const IgnoredTimer timer(ContinuousClock::shared().now() + delay);
    };
  };
}

/// Cancels sleeping tasks. It runs on the main queue, so each task sleeps before it is cancelled.
Async<void> cancelSleepers() {
  for (int i = 0; i < timers; ++i) {
    Task<void> sleeper([] { return Task<>::sleep(std::chrono::hours(1)); });
    co_await Task<>::yield();
    sleeper.cancel();
    co_await sleeper.finished();
  }
}

/// A coroutine on the pool that answers each ring.
class Answering {
 public:
  Answering() {
    auto made = AsyncStream<int>::makeStream();
    source_ = detail::DescriptorSource::make(bell_.descriptor(), GlobalExecutor::shared(),
                                             [this, continuation = made.continuation] {
                                               bell_.take();
                                               continuation.yield(1);
                                             });
    answers_ = Task<>::detached([this, stream = std::move(made.stream)]() -> Async<void> {
      auto iterator = stream.makeAsyncIterator();
      while (co_await iterator.next()) bell_.answer();
    });
  }
  Answering(const Answering&) = delete;
  Answering& operator=(const Answering&) = delete;
  ~Answering() {
    source_->cancel();
    answers_->cancel();
    syncWait(answers_->finished());
  }

  void ring() { bell_.ring(); }

 private:
  Doorbell bell_;
  std::shared_ptr<detail::DescriptorSource> source_;
  std::optional<Task<>> answers_;
};

Async<void> sleepRepeatedly() {
  for (int i = 0; i < sleeps; ++i) co_await Task<>::sleep(std::chrono::microseconds(sleepMicroseconds));
}

const Facility tasksFacility("Tasks", [](Facility& facility) {
  facility.row("create and await an Async", awaits)
      .ours([] { syncWait(awaitAnswers()); })
      .peer("asio::awaitable", [] { return AsioPeers::awaitAwaitables(awaits); })
      .peer("asio::experimental::coro", [] { return AsioPeers::awaitCoros(awaits); })
      .peer("bare coroutine, operator new", [] { return StandardPeers::awaitBareCoroutines(awaits); })
      .bar(12);

  facility.row("reschedule on the pool", hops)
      .ours(onPool([] { return yieldRepeatedly(hops); }))
      .peer("asio::post to thread_pool", [] { return AsioPeers::postToPool(hops, 1); })
      .peer("tbb::task_group chain", [] { return TbbPeers::chainsInArena(hops, 1); })
      .bar(45);

  facility.row("reschedule on the pool, 4 tasks at once", hops)
      .ours(onPool(yieldInManyTasks))
      .peer("asio::post to thread_pool", [] { return AsioPeers::postToPool(hops, manyTasks); })
      .peer("tbb::task_group chains", [] { return TbbPeers::chainsInArena(hops, manyTasks); });

  facility.row("create a task, await it in a task", tasks)
      .ours(onPool(createAndAwaitTasks))
      .peer("asio::co_spawn, use_awaitable", [] { return AsioPeers::spawnAndAwait(tasks); })
      .peer("tbb::task_group run, wait", [] { return TbbPeers::runAndWait(tasks); });

  facility.row("create a task, wait on the main thread", tasks)
      .ours(createAndWaitForTasks)
      .peer("asio::co_spawn, use_future", [] { return AsioPeers::spawnAndWait(tasks); })
      .peer("std::async", [] { return StandardPeers::asyncAndGet(tasks); });

  facility.row("task group, a child by next()", tasks).ours(onPool(runGroup)).peer("tbb::task_group", [] {
    return TbbPeers::groups(tasks, tasks);
  });

  facility.row("visit an idle serial executor", hops)
      .ours(onPool(visitSerialExecutor))
      .peer("asio::co_spawn on a strand", [] { return AsioPeers::strandRoundTrip(hops); });

  facility.row("visit the main thread from the pool", roundTrips)
      .ours(onPool(visitMain))
      .peer("asio::post to io_context", [] { return AsioPeers::mainRoundTrip(roundTrips); })
      .peer("GLib idle source", [] { return GLibPeers::mainRoundTrip(roundTrips); })
      .peer("bare futexes, two threads", [] { return KernelPeers::wakeEachOther(roundTrips); });

  facility.row("cancellation handler around an Async", handlers)
      .ours([] { syncWait(addAndRemoveHandlers()); })
      .peer("std::stop_callback, no coroutine", [] { return StandardPeers::stopCallback(handlers); })
      .peer("asio::cancellation_slot, no coroutine", [] { return AsioPeers::cancellationSlot(handlers); });

  facility.row("timer set and taken back, due first", timers)
      .ours(setAndRemoveTimers(soon))
      .peer("GLib timeout source", [] { return GLibPeers::timerCancelled(timers, otherTimers, soon); });

  facility.row("timer set and taken back, due in the middle", timers)
      .ours(setAndRemoveTimers(middle))
      .peer("GLib timeout source", [] { return GLibPeers::timerCancelled(timers, otherTimers, middle); });

  facility.row("timer set and taken back, due last", timers)
      .ours(setAndRemoveTimers(late))
      .peer("GLib timeout source", [] { return GLibPeers::timerCancelled(timers, otherTimers, late); });

  facility.row("sleeping task made and cancelled", timers)
      .ours([] { syncWait(cancelSleepers()); })
      .peer("asio::steady_timer in co_spawn", [] { return AsioPeers::sleeperCancelled(timers); });

  facility.row("from a readable descriptor to the coroutine", rings)
      .ours([] {
        return [bell = std::make_shared<Answering>()] {
          for (int i = 0; i < rings; ++i) bell->ring();
        };
      })
      .peer("bare epoll_wait thread", [] { return KernelPeers::waitInEpoll(rings); });

  facility.row("sleep of 50 us", sleeps).ours([] { syncWait(sleepRepeatedly()); }).peer("asio::steady_timer", [] {
    return AsioPeers::timerExpired(sleeps, sleepMicroseconds);
  });

  facility.row("sleep of 50 us, on the pool", sleeps).ours(onPool(sleepRepeatedly)).peer("asio::steady_timer", [] {
    return AsioPeers::timerExpired(sleeps, sleepMicroseconds);
  });
});

}  // namespace
}  // namespace Tessaly::Benchmarks
