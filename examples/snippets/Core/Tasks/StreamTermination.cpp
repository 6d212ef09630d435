// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Tasks/StreamTermination.hpp"

#include <memory>

#include "Tessaly/Core/Tasks/AsyncStream.hpp"

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
