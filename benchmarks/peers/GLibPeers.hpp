// SPDX-License-Identifier: MIT
#pragma once

#include "Batch.hpp"

/// What GLib offers beside the main queue and timers.
namespace Tessaly::Benchmarks::GLibPeers {

/// From a thread of a `GThreadPool` to the default main context, which the calling thread runs, and back, `count`
/// times.
Batch mainRoundTrip(int count);

/// Attaches a timeout source an hour ahead to a main context and destroys it, `count` times.
Batch timerCancelled(int count);

}  // namespace Tessaly::Benchmarks::GLibPeers
