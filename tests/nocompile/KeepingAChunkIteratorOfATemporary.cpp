// expected: deleted
// SPDX-License-Identifier: MIT
#include <vector>

#include "Tessaly/Collections/ChunkSequence.hpp"

using Chunks = Tessaly::ChunkSequence<std::vector<int>>;

void iterate() {
  const std::vector<int> numbers{1, 2, 3};
#ifdef ALLOWED
  Chunks::Iterator iterator(2, numbers);
#else
  Chunks::Iterator iterator(2, std::vector<int>{1, 2, 3});
#endif
}
