// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Tasks/AsyncStream.hpp"

namespace Tessaly {

void show(int number);

Async<void> showAsyncStream() {
  AsyncStream<int> numbers([](AsyncStream<int>::Continuation continuation) {
    for (int number : {1, 2, 3}) continuation.yield(number);
    continuation.finish();
  });
  auto iterator = numbers.makeAsyncIterator();
  while (auto number = co_await iterator.next()) show(*number);
}

}  // namespace Tessaly
