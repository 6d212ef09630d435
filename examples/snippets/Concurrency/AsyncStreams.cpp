// SPDX-License-Identifier: MIT
#include "Tessaly/Concurrency/AsyncStreams.hpp"

#include "Tessaly/Core/Tasks/Task.hpp"

namespace Tessaly {

void show(double value);

void showAsyncStreams() {
  auto temperatures = AsyncStreams<double>::make();
  Task<> window([listener = temperatures->stream()]() -> Async<void> {
    auto iterator = listener.makeAsyncIterator();
    while (auto value = co_await iterator.next()) show(*value);
  });
  temperatures->send(21.5);
}

}  // namespace Tessaly
