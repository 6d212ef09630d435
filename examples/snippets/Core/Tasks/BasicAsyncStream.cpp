// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Tasks/BasicAsyncStream.hpp"

#include <functional>

#include "Tessaly/Core/Tasks/AsyncStream.hpp"

namespace Tessaly {

struct Point {
  int x = 0;
  int y = 0;
};
struct Button {
  void onClick(std::function<void(Point)> handler);
};
void show(int number);

template <typename Failure>
Async<void> showAll(BasicAsyncStream<int, Failure> numbers) {
  auto iterator = numbers.makeAsyncIterator();
  while (auto number = co_await iterator.next()) show(*number);
}

void showBasicAsyncStreamContinuation(Button& button) {
  auto [clicks, continuation] = AsyncStream<Point>::makeStream();
  button.onClick([continuation](Point point) { continuation.yield(point); });
}

Async<void> showBasicAsyncStream(AsyncStream<int> numbers) { return showAll(numbers); }

}  // namespace Tessaly
