// SPDX-License-Identifier: MIT
#pragma once

#include <functional>

namespace Tessaly::Benchmarks {

/// A side that is ready for timing: every call performs a fixed number of operations. Peers with heavy or incompatible
/// headers are made this way. The cost of the indirect call is small against a whole batch.
using Batch = std::function<void()>;

/// A side that is timed only while it sends. The values are taken out between the calls, so that nothing grows.
struct SendingBatch {
  Batch send;
  Batch receiveAll;

  void operator()() const { send(); }
  void betweenCalls() const { receiveAll(); }
};

}  // namespace Tessaly::Benchmarks
