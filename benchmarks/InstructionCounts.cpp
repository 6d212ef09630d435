// SPDX-License-Identifier: MIT
//
// Performs one operation a number of times. scripts/count_instructions.py runs it under callgrind.

#include <benchmark/benchmark.h>
#include <fmt/format.h>

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string_view>
#include <thread>

#include "Tessaly/Concurrency/Mutex.hpp"
#include "Tessaly/Core/Observation/NSKeyValueObservation.hpp"
#include "Tessaly/Core/Observation/ObservationTracking.hpp"
#include "Tessaly/Core/Observation/Property.hpp"
#include "Tessaly/Core/Tasks/Async.hpp"
#include "Tessaly/Core/Tasks/AsyncStream.hpp"
#include "Tessaly/Core/Tasks/Cancellation.hpp"
#include "Tessaly/Core/Tasks/GlobalExecutor.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"
#include "Tessaly/Core/Tasks/WithIsolation.hpp"

namespace {

using namespace Tessaly;

/// Replaces the pool. All jobs run on the main thread, in order, so every run takes the same instructions. The queue of
/// the pool and its lock are therefore not counted.
class InOrder final : public Executor {
 public:
  void enqueue(Job& job) noexcept override { jobs_.append(job); }
  void run() {
    while (Job* job = jobs_.popFirst()) job->run();
  }

 private:
  JobList jobs_;
};

InOrder& executor() {
  static auto* const instance = new InOrder;
  return *instance;
}

/// Runs an `Async` as a task on the executor above.
template <typename Operation>
void run(Operation operation) {
  const auto task = Task<void>::detached(operation);
  executor().run();
  if (!task.isFinished()) std::abort();
}

[[gnu::noinline]] Async<int> answer(int value) { co_return value; }

void lockMutex(int count) {
  Mutex<std::int64_t> mutex(0);
  for (int i = 0; i < count; ++i) benchmark::DoNotOptimize(mutex.withLock([](std::int64_t& value) { return ++value; }));
}

void assignMutex(int count) {
  Mutex<std::int64_t> mutex(0);
  for (int i = 0; i < count; ++i) {
    mutex.assignWithLock(i);
    benchmark::ClobberMemory();
  }
}

void awaitAsync(int count) {
  run([count]() -> Async<void> {
    for (int i = 0; i < count; ++i) benchmark::DoNotOptimize(co_await answer(i));
  });
}

void yield(int count) {
  run([count]() -> Async<void> {
    for (int i = 0; i < count; ++i) co_await Task<>::yield();
  });
}

void awaitTask(int count) {
  run([count]() -> Async<void> {
    for (int i = 0; i < count; ++i) {
      Task<int> task([i] { return answer(i); });
      benchmark::DoNotOptimize(co_await task.value());
    }
  });
}

void handleCancellation(int count) {
  run([count]() -> Async<void> {
    int hits = 0;
    for (int i = 0; i < count; ++i) {
      benchmark::DoNotOptimize(co_await withTaskCancellationHandler([i] { return answer(i); }, [&hits] { ++hits; }));
    }
  });
}

void yieldThenNext(int count) {
  run([count]() -> Async<void> {
    const auto [stream, continuation] = AsyncStream<std::int64_t>::makeStream();
    auto iterator = stream.makeAsyncIterator();
    for (int i = 0; i < count; ++i) {
      continuation.yield(i);
      benchmark::DoNotOptimize(co_await iterator.next());
    }
  });
}

void yieldToWaitingConsumer(int count) {
  run([count]() -> Async<void> {
    const auto ends = AsyncStream<std::int64_t>::makeStream();
    Task<void> consumer([&ends, count]() -> Async<void> {
      auto iterator = ends.stream.makeAsyncIterator();
      for (int i = 0; i < count; ++i) benchmark::DoNotOptimize(co_await iterator.next());
    });
    co_await Task<>::yield();
    for (int i = 0; i < count; ++i) {
      ends.continuation.yield(i);
      co_await Task<>::yield();
    }
    co_await consumer.finished();
  });
}

struct Numbers {
  Property<std::int64_t> value = 0;
};

void setProperty(int count) {
  Property<std::int64_t> number = 0;
  auto* escaped = &number;
  benchmark::DoNotOptimize(escaped);
  for (int i = 0; i < count; ++i) {
    *escaped = i;
    benchmark::ClobberMemory();
  }
}

void trackAndSet(int count) {
  std::int64_t calls = 0;
  Property<std::int64_t> number = 0;
  for (int i = 0; i < count; ++i) {
    withObservationTracking([&] { return number.value(); }, [&] { ++calls; });
    number = i;
  }
  benchmark::DoNotOptimize(calls);
}

void setObserved(int count) {
  std::int64_t calls = 0;
  const auto numbers = std::make_shared<Numbers>();
  const auto observation =
      observe(numbers, keyPath<&Numbers::value>, NSKeyValueObservingOptions::none, [&](const auto&) { ++calls; });
  for (int i = 0; i < count; ++i) numbers->value = i;
  benchmark::DoNotOptimize(calls);
}

struct Operation {
  std::string_view name;
  void (*perform)(int count);
};
constexpr Operation operations[] = {
    {"Mutex.withLock, free", lockMutex},
    {"Mutex.assignWithLock, free", assignMutex},
    {"create and await an Async", awaitAsync},
    {"yield, without the pool's queue", yield},
    {"create and await a task, without the pool's queue", awaitTask},
    {"cancellation handler around an Async", handleCancellation},
    {"property: set, untracked", setProperty},
    {"property: track, set, be called", trackAndSet},
    {"property: set, observed", setObserved},
    {"stream: yield then next", yieldThenNext},
    {"stream: yield to a waiting consumer, and yield to it", yieldToWaitingConsumer},
};

}  // namespace

int main(int count, char** values) {
  if (count == 2 && std::string_view(values[1]) == "--list") {
    for (const auto& operation : operations) fmt::print("{}\n", operation.name);
    return EXIT_SUCCESS;
  }
  if (count == 3) {
    std::jthread([] {}).join();  // As in the timed benchmarks, the process has a second thread.
    GlobalExecutor::install(executor());
    for (const auto& operation : operations) {
      if (operation.name != values[1]) continue;
      operation.perform(std::atoi(values[2]));
      return EXIT_SUCCESS;
    }
  }
  fmt::print(stderr, "tessaly_instruction_counts --list | <operation> <times>\n");
  return EXIT_FAILURE;
}
