// SPDX-License-Identifier: MIT
#pragma once

#include "Batch.hpp"

/// The facilities of oneTBB beside tasks and streams.
namespace Tessaly::Benchmarks::TbbPeers {

/// Chains of tasks, `count` together. As in all sides below, there are at most two threads, and no more than cores.
/// Each task starts the next one of its chain.
Batch chainsInArena(int count, int chains);
/// `count` times: runs one task in a group, and waits for it.
Batch runAndWait(int count);
/// Runs `count` tasks in groups of `width`, one group after the other, and waits for all tasks of each.
Batch groups(int count, int width);
/// The Fibonacci number by two recursive calls, one of which is a task.
Batch fibonacci(int n);
/// One thread pushes `count` elements as fast as it can into a `concurrent_bounded_queue`. Another one pops them,
/// blocking.
Batch queueAcrossThreads(int count);

}  // namespace Tessaly::Benchmarks::TbbPeers
