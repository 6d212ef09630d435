// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <vector>

#include "Tessaly/Platform/Testing/ManualClock.hpp"

namespace Tessaly::Tests {

/// A clock that stands still and lives until the end of the process. Use it for objects that may end on another thread
/// after the test, such as a store that is notifying its observers.
inline ManualClock& lastingClock() {
  static auto& clocks = *new std::vector<std::unique_ptr<ManualClock>>;
  return *clocks.emplace_back(std::make_unique<ManualClock>());
}

}  // namespace Tessaly::Tests
