// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace Tessaly::Tests {

/// Keeps an object until the process ends. A sequence that a test drops cancels its tasks and does not wait for them,
/// so they may use a stand-in after the test.
template <typename Object>
std::shared_ptr<Object> keptAlive(std::shared_ptr<Object> object) {
  static std::mutex mutex;
  static auto& kept = *new std::vector<std::shared_ptr<void>>;
  const std::scoped_lock lock(mutex);
  kept.push_back(object);
  return object;
}

}  // namespace Tessaly::Tests
