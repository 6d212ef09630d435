// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>

#include "Batch.hpp"

/// The facilities of GLib beside the main queue and timers.
namespace Tessaly::Benchmarks::GLibPeers {

/// Makes `count` round trips from a thread of a `GThreadPool` to the default main context, which the calling thread
/// runs.
Batch mainRoundTrip(int count);

/// Attaches a timeout source to a main context and destroys it, `count` times, while other sources wait that fire in 25
/// to 35 minutes.
Batch timerCancelled(int count, int others, std::chrono::milliseconds delay);

}  // namespace Tessaly::Benchmarks::GLibPeers
