// SPDX-License-Identifier: MIT
#pragma once

#include "Batch.hpp"

/// What oneTBB offers beside tasks and streams.
namespace Tessaly::Benchmarks::TbbPeers {

/// `chains` of tasks, `count` together, in an arena of two threads: each task starts the next one of its chain.
Batch chainsInArena(int count, int chains);
/// `count` times: one task is run in a group, and waited for.
Batch runAndWait(int count);
/// `count` tasks are run in one group, and then waited for together.
Batch group(int count);
/// One thread pushes `count` elements as fast as it can into a `concurrent_bounded_queue`, another pops them, blocking.
Batch queueAcrossThreads(int count);

}  // namespace Tessaly::Benchmarks::TbbPeers
