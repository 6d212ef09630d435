// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Tasks/BufferingPolicy.hpp"

#include "Tessaly/Platform/Tasks/AsyncStream.hpp"

namespace Tessaly {

void follow(AsyncStream<int>::Continuation continuation);
void stopReading();

void showBufferingPolicy() {
  AsyncStream<int> readings(BufferingPolicy::newest(16), [](auto continuation) { follow(continuation); });
}

void showYieldResult(AsyncStream<int>::Continuation continuation, int reading) {
  if (continuation.yield(reading).kind == YieldResultKind::terminated) stopReading();
}

}  // namespace Tessaly
