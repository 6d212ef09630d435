// SPDX-License-Identifier: MIT
#pragma once

#include "Batch.hpp"

/// The facilities of oneTBB beside tasks and streams.
namespace Tessaly::Benchmarks::TbbPeers {

/// Chains of tasks, `count` together, in an arena of two threads. Each task starts the next one of its chain.
Batch chainsInArena(int count, int chains);
/// `count` times: runs one task in a group, and waits for it.
Batch runAndWait(int count);
/// Runs `count` tasks in one group, and waits for all of them.
Batch group(int count);
/// One thread pushes `count` elements as fast as it can into a `concurrent_bounded_queue`. Another one pops them,
/// blocking.
Batch queueAcrossThreads(int count);

}  // namespace Tessaly::Benchmarks::TbbPeers
