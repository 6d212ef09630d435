// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Tasks/MainQueue.hpp"

#include <poll.h>

namespace Tessaly {

void snippet(const bool& isDone) {
  pollfd watched{MainQueue::fileDescriptor(), POLLIN, 0};
  while (!isDone) {
    poll(&watched, 1, -1);
    MainQueue::drain();
  }
}

}  // namespace Tessaly
