// SPDX-License-Identifier: MIT
#pragma once

#include "Batch.hpp"

/// Programs that use the kernel without a library.
namespace Tessaly::Benchmarks::KernelPeers {

/// `count` times: a descriptor becomes readable, and a thread that waits in `epoll_wait` answers.
Batch waitInEpoll(int count);

}  // namespace Tessaly::Benchmarks::KernelPeers
