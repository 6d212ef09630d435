// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <vector>

#include "Tessaly/Platform/Testing/ManualClock.hpp"

namespace Tessaly::Tests {

/// A clock that stands still and stays until the process ends. For what may end on another thread after the test: a
/// store of settings whose observers are just being told.
inline ManualClock& lastingClock() {
  static auto& clocks = *new std::vector<std::unique_ptr<ManualClock>>;
  return *clocks.emplace_back(std::make_unique<ManualClock>());
}

}  // namespace Tessaly::Tests
