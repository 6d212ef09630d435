// expected: constraints not satisfied|call to implicitly-deleted|no matching constructor|call to deleted
// SPDX-License-Identifier: MIT
#include <memory>
#include <utility>

#include "Tessaly/Collections/RingArray.hpp"

void copy(Tessaly::RingArray<std::unique_ptr<int>> ring) {
#ifdef ALLOWED
  Tessaly::RingArray<std::unique_ptr<int>> other(std::move(ring));
#else
  Tessaly::RingArray<std::unique_ptr<int>> other(ring);
#endif
}
