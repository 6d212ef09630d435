// SPDX-License-Identifier: MIT
#pragma once

#include "Batch.hpp"

/// What a program can do with the kernel alone.
namespace Tessaly::Benchmarks::KernelPeers {

/// `count` times: a descriptor becomes readable, and a thread that waits in `epoll_wait` answers.
Batch waitInEpoll(int count);

}  // namespace Tessaly::Benchmarks::KernelPeers
