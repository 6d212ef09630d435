// expected: call to deleted member function 'makeIterator'
// SPDX-License-Identifier: MIT
#include <vector>

#include "Tessaly/Collections/ChunkSequence.hpp"

auto firstChunk(std::vector<int> numbers) {
#ifdef ALLOWED
  const auto chunks = Tessaly::chunked(std::move(numbers), 2);
  return chunks.makeIterator().next()->size();
#else
  return Tessaly::chunked(std::move(numbers), 2).makeIterator().next()->size();
#endif
}
