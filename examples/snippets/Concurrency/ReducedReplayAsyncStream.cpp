// SPDX-License-Identifier: MIT
#include "Tessaly/Concurrency/ReducedReplayAsyncStream.hpp"

namespace Tessaly {

void countVisitors(AsyncStream<int>::Continuation continuation);
void show(int element);

Async<void> showReducedReplayAsyncStream() {
  // clang-format off
  ReducedReplayAsyncStream<int> total(
      BufferingPolicy::unbounded(), 0, [](int& sum, int element) { sum += element; },
      [](AsyncStream<int>::Continuation continuation) { countVisitors(continuation); });
  auto iterator = total.makeAsyncIterator();
  while (auto element = co_await iterator.next()) show(*element);
  // clang-format on
}

}  // namespace Tessaly
