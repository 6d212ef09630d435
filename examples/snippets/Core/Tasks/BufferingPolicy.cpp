// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Tasks/BufferingPolicy.hpp"

#include "Tessaly/Core/Tasks/AsyncStream.hpp"

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
