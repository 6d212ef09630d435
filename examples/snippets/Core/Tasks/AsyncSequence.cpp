// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Tasks/AsyncSequence.hpp"

#include "Tessaly/Core/Tasks/AsyncStream.hpp"

namespace Tessaly {

template <AsyncSequence Sequence>
Async<int> countElements(Sequence sequence) {
  int count = 0;
  auto iterator = sequence.makeAsyncIterator();
  while (co_await iterator.next()) ++count;
  co_return count;
}

Async<int> showAsyncSequence(AsyncStream<int> numbers) { return countElements(numbers); }

}  // namespace Tessaly
