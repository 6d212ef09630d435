// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Tasks/BufferingPolicy.hpp"

#include "Tessaly/Platform/Tasks/AsyncStream.hpp"

namespace Tessaly {

void follow(const AsyncStream<int>::Continuation& continuation);
void stopReading();

void snippet() {
  AsyncStream<int> readings(BufferingPolicy::newest(16), [](auto continuation) { follow(continuation); });
}

void yieldOne(const AsyncStream<int>::Continuation& continuation, int reading) {
  if (continuation.yield(reading).kind == YieldResultKind::terminated) stopReading();
}

}  // namespace Tessaly
