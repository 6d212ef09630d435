// SPDX-License-Identifier: MIT
#pragma once

#include "Tessaly/Core/Tasks/Task.hpp"

namespace Tessaly::Tests {

/// Yields `times` times, so that other tasks of the executor take as many steps.
inline Async<void> pause(int times) {
  for (int i = 0; i < times; ++i) co_await Task<>::yield();
}

}  // namespace Tessaly::Tests
