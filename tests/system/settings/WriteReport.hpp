// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace Tessaly::Tests {

/// The outcome of one call of a writing process, as bytes in a pipe.
struct WriteReport {
  /// The number that was written; 0 for the opening of the store.
  std::int64_t number = 0;
  /// The nanoseconds that the call waited for something other than a processor.
  std::int64_t waited = 0;
  /// The keys that the status says are in memory only.
  std::int64_t unstored = 0;
  /// The time of the latest problem by which values may be lost, in seconds since the reference date.
  double lossTold = -1e300;
};

}  // namespace Tessaly::Tests
