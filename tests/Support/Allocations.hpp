// SPDX-License-Identifier: MIT
#pragma once

namespace Tessaly::Tests {

/// How often this thread has allocated memory so far. For programs that link `TessalyAllocationCounter`, which replaces
/// `operator new`.
long allocationsOfThisThread();

/// How often this thread has freed memory so far.
long deallocationsOfThisThread();

/// How many blocks are allocated at present, by all threads, beyond those that were when the program started.
long allocatedBlocks();

/// How often the body allocates.
template <typename Body>
long allocationsOf(Body body) {
  const long before = allocationsOfThisThread();
  body();
  return allocationsOfThisThread() - before;
}

}  // namespace Tessaly::Tests
