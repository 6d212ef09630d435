// SPDX-License-Identifier: MIT
#include <atomic>
#include <chrono>
#include <fstream>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "Chapters.hpp"
#include "Tessaly/Core/Base/ThreadIdentifier.hpp"
#include "Tessaly/Core/Foundation/ProcessInfo.hpp"
#include "Tessaly/Core/Tasks/AsyncMapSequence.hpp"
#include "Tessaly/Core/Tasks/AsyncMergeSequence.hpp"
#include "Tessaly/Core/Tasks/AsyncStream.hpp"
#include "Tessaly/Core/Tasks/BlockingWork.hpp"
#include "Tessaly/Core/Tasks/CheckedContinuation.hpp"
#include "Tessaly/Core/Tasks/SyncWait.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"
#include "Tessaly/Core/Tasks/TaskGroup.hpp"
#include "Tessaly/Core/Tasks/TaskLocal.hpp"
#include "Tessaly/Core/Tasks/WithIsolation.hpp"

namespace Tour {
namespace {

using namespace Tessaly;
using namespace std::chrono_literals;

constinit TaskLocal<int> requestNumber(0);

Async<void> tellOfIsolation(Narrator& narrator) {
  const Isolation storage = Isolation::serial();
  int unguarded = 0;
  bool wasIsolated = true;
  co_await withTaskGroup([&](TaskGroup<>& group) -> Async<void> {
    for (int i = 0; i < 8; ++i) {
      group.addTask([&]() -> Async<void> {
        for (int j = 0; j < 500; ++j) {
          co_await withIsolation(storage, [&] {
            ++unguarded;
            wasIsolated = wasIsolated && Isolation::current() == storage;
          });
        }
      });
    }
    co_await group.waitForAll();
  });
  narrator.check(unguarded == 4000 && wasIsolated, "8 tasks on one serial executor counted to 4,000 without a lock");
}

/// While every thread of the pool is busy, 40 tasks of low priority queue up, and then one of high priority.
Async<void> tellOfPriorities(Narrator& narrator) {
  const auto threads = static_cast<int>(ProcessInfo::processInfo().activeProcessorCount());
  std::atomic<int> taken = 0;
  std::atomic<bool> isFree = false;
  std::atomic<int> started = 0;
  std::vector<Task<>> tasks;
  const auto start = [&](TaskPriority priority, auto operation) {
    tasks.emplace_back(TaskOptions{.priority = priority, .isolation = Isolation()}, std::move(operation));
  };
  for (int i = 0; i < threads; ++i) {
    start(TaskPriority::high, [&] {
      ++taken;
      while (!isFree) std::this_thread::yield();
    });
  }
  while (taken < threads) co_await Task<>::yield();
  for (int i = 0; i < 40; ++i) start(TaskPriority::background, [&] { ++started; });
  int place = 0;
  start(TaskPriority::high, [&] { place = ++started; });
  isFree = true;
  for (const Task<>& task : tasks) co_await task.finished();
  // Other threads of the pool may take the next tasks and count them before this one.
  narrator.check(place <= threads, text("A task of high priority, last of 41 in the queue, was number ", place));

  Task<TaskPriority> low({.priority = TaskPriority::background, .isolation = Isolation()}, []() -> Async<TaskPriority> {
    const auto deadline = ContinuousClock::shared().now() + 10s;
    while (Task<>::currentPriority() != TaskPriority::high && ContinuousClock::shared().now() < deadline) {
      co_await Task<>::yield();
    }
    co_return Task<>::currentPriority();
  });
  Task<TaskPriority> waiter({.priority = TaskPriority::high}, [low] { return low.value(); });
  narrator.check(co_await waiter.value() == TaskPriority::high,
                 "A background task that one of high priority waited for rose to its priority");
}

Async<void> tellOfTaskLocals(Narrator& narrator) {
  const auto read = [] { return requestNumber.value(); };
  const bool isRight = co_await requestNumber.withValue(7, [read]() -> Async<bool> {
    const int inherited = co_await Task<int>(read).value();
    const int detached = co_await Task<int>::detached(read).value();
    const int inner = requestNumber.withValue(8, read);
    co_return inherited == 7 && detached == 0 && inner == 8;
  });
  narrator.check(isRight && read() == 0, "A task-local value reaches the tasks made in its scope, and no others");
}

Async<void> tellOfSleep(Narrator& narrator) {
  const Clock& clock = ContinuousClock::shared();
  const Clock::Instant start = clock.now();
  Task<> hour([] { return Task<>::sleep(1h); });
  Task<> blink([] { return Task<>::sleep(20ms); });
  co_await blink.value();
  const auto blinked = clock.now() - start;
  hour.cancel();
  bool wasCancelled = false;
  try {
    co_await hour.value();
  } catch (const CancellationError&) {
    wasCancelled = true;
  }
  narrator.check(blinked >= 20ms && wasCancelled && clock.now() - start < 1h,
                 text("A sleep of 20 ms took ", std::chrono::duration_cast<std::chrono::milliseconds>(blinked).count(),
                      " ms; one of an hour was cancelled meanwhile"));
}

/// The lines of a file, read on a thread that may block.
AsyncStream<std::string> linesOf(const char* path) {
  return AsyncStream<std::string>([path](AsyncStream<std::string>::Continuation continuation) {
    Task<>::detached([path, continuation] {
      return runBlocking([path, continuation] {
        std::ifstream file(path);
        for (std::string line; std::getline(file, line);) continuation.yield(line);
        continuation.finish();
      });
    });
  });
}

std::string beforeColon(std::string line) { return line.substr(0, line.find(':')); }

Async<void> tellOfStreams(Narrator& narrator) {
  constexpr const char* paths[] = {"/proc/meminfo", "/proc/self/status"};
  std::multiset<std::string> merged;
  auto iterator = merge(map(linesOf(paths[0]), beforeColon), map(linesOf(paths[1]), beforeColon)).makeAsyncIterator();
  while (auto name = co_await iterator.next()) merged.insert(std::move(*name));

  std::multiset<std::string> expected;
  for (const char* path : paths) {
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) expected.insert(beforeColon(line));
  }
  narrator.check(!expected.empty() && merged == expected,
                 text("Two streams of the kernel's facts, merged, have its ", expected.size(), " names"));
}

Async<void> tellOfContinuations(Narrator& narrator) {
  std::thread plain;
  const std::uint32_t answering =
      co_await withCheckedContinuation<std::uint32_t>([&plain](CheckedContinuation<std::uint32_t> continuation) {
        plain = std::thread([continuation] { continuation.resume(currentThreadIdentifier()); });
      });
  plain.join();
  narrator.check(MainQueue::isMainThread() && answering != currentThreadIdentifier(),
                 text("Thread ", answering, ", a plain one, answered the main thread through a continuation"));
}

Async<void> tell(Narrator& narrator) {
  co_await tellOfIsolation(narrator);
  co_await tellOfPriorities(narrator);
  co_await tellOfTaskLocals(narrator);
  co_await tellOfSleep(narrator);
  co_await tellOfStreams(narrator);
  co_await tellOfContinuations(narrator);
}

}  // namespace

void tellOfTasks(Narrator& narrator) {
  syncWait([&] { return tell(narrator); });
}

}  // namespace Tour
