// SPDX-License-Identifier: MIT
#pragma once

#include "Batch.hpp"

/// The facilities of the standard library beside tasks and streams.
namespace Tessaly::Benchmarks::StandardPeers {

/// `count` times: `std::async` in a thread of its own, and a wait for its result.
Batch asyncAndGet(int count);

/// Makes and destroys a `std::stop_callback`, `count` times.
Batch stopCallback(int count);

/// Appends `count` elements to the queues of all listeners, each a `std::deque` beside a `std::mutex`.
SendingBatch broadcast(int count, int listeners);

/// One coroutine that makes and awaits `count` others of the smallest kind. It starts lazily, uses symmetric transfer,
/// and takes its frame from `operator new`. It has no tasks, cancellation or executors. No package offers it; it shows
/// the cost of the language itself.
Batch awaitBareCoroutines(int count);

}  // namespace Tessaly::Benchmarks::StandardPeers
