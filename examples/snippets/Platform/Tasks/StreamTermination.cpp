// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Tasks/StreamTermination.hpp"

#include <memory>

#include "Tessaly/Platform/Tasks/AsyncStream.hpp"

namespace Tessaly {

struct Sensor {
  void stop();
};

void showStreamTermination(AsyncStream<int>::Continuation continuation, std::shared_ptr<Sensor> sensor) {
  continuation.setOnTermination([sensor](const StreamTermination& termination) {
    if (termination.kind == StreamTermination::Kind::cancelled) sensor->stop();
  });
}

}  // namespace Tessaly
