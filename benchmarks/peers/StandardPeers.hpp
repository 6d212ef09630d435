// SPDX-License-Identifier: MIT
#pragma once

#include "Batch.hpp"

/// What the standard library offers beside tasks and streams.
namespace Tessaly::Benchmarks::StandardPeers {

/// `count` times: `std::async` in a thread of its own, and waiting for its result.
Batch asyncAndGet(int count);

/// Makes and destroys a `std::stop_callback`, `count` times.
Batch stopCallback(int count);

/// `count` elements are appended to the queues of all listeners, each a `std::deque` beside a `std::mutex`.
SendingBatch broadcast(int count, int listeners);

/// One coroutine that makes and awaits `count` others, of the smallest kind that can be awaited: it starts lazily, goes
/// over by symmetric transfer, takes its frame from `operator new`, and knows neither tasks nor cancellation nor
/// executors. No package has it; it shows what the language itself costs.
Batch awaitBareCoroutines(int count);

}  // namespace Tessaly::Benchmarks::StandardPeers
