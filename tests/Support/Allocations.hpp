// SPDX-License-Identifier: MIT
#pragma once

namespace Tessaly::Tests {

/// The number of allocations of this thread so far. The program must link `TessalyAllocationCounter`, which replaces
/// `operator new`.
long allocationsOfThisThread();

/// The number of deallocations of this thread so far.
long deallocationsOfThisThread();

/// The number of blocks that all threads hold at present, minus that at the start of the program.
long allocatedBlocks();

/// The number of allocations in the body.
template <typename Body>
long allocationsOf(Body body) {
  const long before = allocationsOfThisThread();
  body();
  return allocationsOfThisThread() - before;
}

}  // namespace Tessaly::Tests
