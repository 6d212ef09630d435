// SPDX-License-Identifier: MIT
#pragma once

#include "Batch.hpp"

/// Signals that call a slot for each listener. The slot keeps the value until it is taken out.
namespace Tessaly::Benchmarks::SignalPeers {

/// `boost::signals2`, with its default mutex.
SendingBatch boostSignals(int count, int listeners);
/// A Qt signal with a direct connection.
SendingBatch qtSignals(int count, int listeners);

}  // namespace Tessaly::Benchmarks::SignalPeers
