// SPDX-License-Identifier: MIT
#include <poll.h>

#include <chrono>
#include <functional>

#include "Tessaly/Core/Tasks/MainQueue.hpp"

namespace {

using namespace Tessaly;

bool comes(const std::function<bool()>& condition) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(5);
  while (!condition() && std::chrono::steady_clock::now() < end) {
    pollfd queue{.fd = MainQueue::fileDescriptor(), .events = POLLIN, .revents = 0};
    ::poll(&queue, 1, 100);
    MainQueue::drain();
  }
  return condition();
}

}  // namespace
