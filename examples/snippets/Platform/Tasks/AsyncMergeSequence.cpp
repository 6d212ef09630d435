// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Tasks/AsyncMergeSequence.hpp"

#include "Tessaly/Platform/Tasks/AsyncStream.hpp"

namespace Tessaly {

struct Event {};
void handle(const Event& event);

Async<void> snippet(AsyncStream<Event> keystrokes, AsyncStream<Event> clicks) {
  auto iterator = merge(keystrokes, clicks).makeAsyncIterator();
  while (auto event = co_await iterator.next()) handle(*event);
}

}  // namespace Tessaly
