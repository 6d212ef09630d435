// SPDX-License-Identifier: MIT
#pragma once

#include <benchmark/benchmark.h>

#include <cstdint>
#include <deque>
#include <mutex>
#include <vector>

namespace Tessaly::Benchmarks {

/// Stores the arguments of a slot until a listener takes them out, like the buffer of a stream.
struct SignalListener {
  void receive(std::int64_t value) {
    const std::lock_guard guard(mutex);
    queue.push_back(value);
  }

  std::mutex mutex;
  std::deque<std::int64_t> queue;
};

inline void receiveAll(std::vector<SignalListener>& listeners) {
  std::int64_t total = 0;
  for (SignalListener& listener : listeners) {
    for (const std::lock_guard guard(listener.mutex); !listener.queue.empty(); listener.queue.pop_front()) {
      total += listener.queue.front();
    }
  }
  benchmark::DoNotOptimize(total);
}

}  // namespace Tessaly::Benchmarks
