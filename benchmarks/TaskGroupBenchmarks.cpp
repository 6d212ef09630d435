// SPDX-License-Identifier: MIT
//
// Work in small pieces. `taskset --cpu-list 0 tessaly_bench --filter="Task groups"` gives every side one core and one
// worker: on two cores the figures depend on which thread happens to wake up.

#include <atomic>
#include <cstdint>
#include <string>

#include "Harness.hpp"
#include "Tessaly/Core/Tasks/Async.hpp"
#include "Tessaly/Core/Tasks/SyncWait.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"
#include "Tessaly/Core/Tasks/TaskGroup.hpp"
#include "peers/TbbPeers.hpp"

namespace Tessaly::Benchmarks {
namespace {

constexpr int children = 4'000;
constexpr int depth = 15;
/// The calls of the recursion of that depth.
constexpr int calls = 1'973;

enum class Child : std::uint8_t { closure, coroutine };

[[gnu::noinline]] Async<void> add(std::atomic<int>& total, int value) {
  total.fetch_add(value, std::memory_order_relaxed);
  co_return;
}

Async<void> runGroup(int width, Child kind) {
  std::atomic<int> total = 0;
  co_await withTaskGroup([&](TaskGroup<>& group) -> Async<void> {
    for (int i = 0; i < width; ++i) {
      if (kind == Child::closure) {
        group.addTask([&total, i] { total.fetch_add(i, std::memory_order_relaxed); });
      } else {
        group.addTask([&total, i] { return add(total, i); });
      }
    }
    co_await group.waitForAll();
  });
  benchmark::DoNotOptimize(total.load());
}

/// Many groups one after the other, so that `children` of them run in each call.
auto groupsOf(int width, Child kind) {
  return [width, kind] {
    syncWait(Task<>::detached([width, kind]() -> Async<void> {
               for (int left = children; left > 0; left -= width) co_await runGroup(width, kind);
             }).value());
  };
}

/// One half of the work is a child, the other half a call, as in the peer.
[[gnu::noinline]] Async<int> fibonacci(int n) {
  if (n < 2) co_return n;
  co_return co_await withTaskGroup<int>([n](TaskGroup<int>& group) -> Async<int> {
    group.addTask([n] { return fibonacci(n - 1); });
    const int other = co_await fibonacci(n - 2);
    co_return other + *co_await group.next();
  });
}

const Facility taskGroupsFacility("Task groups", [](Facility& facility) {
  for (const int width : {1, 16, 1'000}) {
    const std::string name = "a child in groups of " + std::to_string(width);
    facility.row(name + ", closures", children)
        .ours(groupsOf(width, Child::closure))
        .peer("tbb::task_group", [width] { return TbbPeers::groups(children, width); })
        .notSlowerThan("tbb::task_group");
    facility.row(name + ", coroutines", children)
        .ours(groupsOf(width, Child::coroutine))
        .peer("tbb::task_group, closures", [width] { return TbbPeers::groups(children, width); });
  }

  facility.row("recursive fork and join, a call", calls)
      .ours([] { benchmark::DoNotOptimize(syncWait(Task<int>::detached([] { return fibonacci(depth); }).value())); })
      .peer("tbb::task_group", [] { return TbbPeers::fibonacci(depth); })
      .notSlowerThan("tbb::task_group");
});

}  // namespace
}  // namespace Tessaly::Benchmarks
