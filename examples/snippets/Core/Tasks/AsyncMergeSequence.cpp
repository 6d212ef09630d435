// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Tasks/AsyncMergeSequence.hpp"

#include "Tessaly/Core/Tasks/AsyncStream.hpp"

namespace Tessaly {

struct Event {
  int code = 0;
};
void handle(Event event);

Async<void> showAsyncMergeSequence(AsyncStream<Event> keystrokes, AsyncStream<Event> clicks) {
  auto iterator = merge(keystrokes, clicks).makeAsyncIterator();
  while (auto event = co_await iterator.next()) handle(*event);
}

}  // namespace Tessaly
