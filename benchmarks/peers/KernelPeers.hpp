// SPDX-License-Identifier: MIT
#pragma once

#include "Batch.hpp"

/// Programs that use the kernel without a library.
namespace Tessaly::Benchmarks::KernelPeers {

/// `count` times: a descriptor becomes readable, and a thread that waits in `epoll_wait` answers.
Batch waitInEpoll(int count);

/// `count` times: this thread wakes another one and sleeps until that one wakes it, each in a futex.
Batch wakeEachOther(int count);

}  // namespace Tessaly::Benchmarks::KernelPeers
