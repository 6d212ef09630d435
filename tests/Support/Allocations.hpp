// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>

namespace Tessaly::Tests {

/// The number of allocations of this thread so far. The program must link `TessalyAllocationCounter`, which replaces
/// `operator new`.
long allocationsOfThisThread();

/// The number of deallocations of this thread so far.
long deallocationsOfThisThread();

/// The number of blocks that all threads hold at present, minus that at the start of the program.
long allocatedBlocks();

/// While such an object exists, allocations of all threads fail if they have at least `minimumSize` bytes. The first
/// `skipped` of them succeed. Not under a sanitizer, where a failed allocation stops the process. One at a time.
class FailingAllocations {
 public:
  explicit FailingAllocations(std::size_t minimumSize, long skipped = 0);
  FailingAllocations(const FailingAllocations&) = delete;
  FailingAllocations& operator=(const FailingAllocations&) = delete;
  ~FailingAllocations();
};

/// The number of allocations in the body.
template <typename Body>
long allocationsOf(Body body) {
  const long before = allocationsOfThisThread();
  body();
  return allocationsOfThisThread() - before;
}

}  // namespace Tessaly::Tests
