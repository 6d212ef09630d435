// expected: the function must not suspend: its reads are tracked until it returns
// SPDX-License-Identifier: MIT
#include "Tessaly/Concurrency/Observations.hpp"
#include "Tessaly/Core/Tasks/Async.hpp"

#ifdef ALLOWED
int compute() { return 1; }
#else
Tessaly::Async<int> compute() { co_return 1; }
#endif

auto observe() {
  return Tessaly::Observations([] { return compute(); });
}
