// SPDX-License-Identifier: MIT
#pragma once

#include <functional>

namespace Tessaly::Benchmarks {

/// A side prepared for timing: every call performs as many operations as its maker was told. Peers whose headers are
/// heavy, or do not go together with ours in one file, are handed out like this; the call is paid once a batch.
using Batch = std::function<void()>;

/// A side of which only the sending is timed: what was sent is taken out again between the calls, so that nothing
/// grows.
struct SendingBatch {
  Batch send;
  Batch receiveAll;

  void operator()() const { send(); }
  void betweenCalls() const { receiveAll(); }
};

}  // namespace Tessaly::Benchmarks
