// SPDX-License-Identifier: MIT
#include "TbbPeers.hpp"

#include <benchmark/benchmark.h>
#include <tbb/concurrent_queue.h>
#include <tbb/info.h>
#include <tbb/task_arena.h>
#include <tbb/task_group.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <memory>
#include <thread>

namespace Tessaly::Benchmarks::TbbPeers {
namespace {

/// One link of the chain. A copy of it is the next task.
struct Link {
  tbb::task_group* group;
  int left;

  void operator()() const {
    if (left > 1) group->run(Link{group, left - 1});
  }
};

/// As many threads as the pool beside it has, so one where the process is bound to one core.
std::shared_ptr<tbb::task_arena> makeArena() {
  return std::make_shared<tbb::task_arena>(std::min(2, tbb::info::default_concurrency()));
}

int fibonacciOf(int n) {
  if (n < 2) return n;
  tbb::task_group group;
  int half = 0;
  group.run([&half, n] { half = fibonacciOf(n - 1); });
  const int other = fibonacciOf(n - 2);
  group.wait();
  return half + other;
}

/// A queue, and a thread that pops a number of elements on request.
class Popper {
 public:
  Popper() : thread_([this] { serve(); }) {}
  Popper(const Popper&) = delete;
  Popper& operator=(const Popper&) = delete;
  ~Popper() { begin(-1); }

  void begin(int count) {
    count_.store(count, std::memory_order_release);
    count_.notify_one();
  }
  void waitUntilDone() {
    while (const int left = count_.load(std::memory_order_acquire)) count_.wait(left);
  }

  tbb::concurrent_bounded_queue<std::int64_t> queue;

 private:
  void serve() {
    for (;;) {
      count_.wait(0);
      const int count = count_.load(std::memory_order_acquire);
      if (count < 0) return;
      std::int64_t total = 0;
      for (int i = 0; i < count; ++i) {
        std::int64_t value = 0;
        queue.pop(value);
        total += value;
      }
      benchmark::DoNotOptimize(total);
      count_.store(0, std::memory_order_release);
      count_.notify_one();
    }
  }

  std::atomic<int> count_{0};
  std::jthread thread_;
};

}  // namespace

Batch chainsInArena(int count, int chains) {
  return [=, arena = makeArena()] {
    arena->execute([=] {
      tbb::task_group group;
      for (int i = 0; i < chains; ++i) group.run(Link{&group, count / chains});
      group.wait();
    });
  };
}

Batch runAndWait(int count) {
  return [count, arena = makeArena()] {
    arena->execute([count] {
      tbb::task_group group;
      int total = 0;
      for (int i = 0; i < count; ++i) {
        group.run([&total, i] { total += i; });
        group.wait();
      }
      benchmark::DoNotOptimize(total);
    });
  };
}

Batch groups(int count, int width) {
  return [count, width, arena = makeArena()] {
    arena->execute([count, width] {
      for (int left = count; left > 0; left -= width) {
        tbb::task_group group;
        std::atomic<int> total = 0;
        for (int i = 0; i < width; ++i) {
          group.run([&total, i] { total.fetch_add(i, std::memory_order_relaxed); });
        }
        group.wait();
        benchmark::DoNotOptimize(total.load());
      }
    });
  };
}

Batch fibonacci(int n) {
  return [n, arena = makeArena()] { benchmark::DoNotOptimize(arena->execute([n] { return fibonacciOf(n); })); };
}

Batch queueAcrossThreads(int count) {
  return [count, popper = std::make_shared<Popper>()] {
    popper->begin(count);
    for (int i = 0; i < count; ++i) popper->queue.push(i);
    popper->waitUntilDone();
  };
}

}  // namespace Tessaly::Benchmarks::TbbPeers
