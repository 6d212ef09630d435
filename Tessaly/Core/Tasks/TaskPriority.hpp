// SPDX-License-Identifier: MIT
// Component: Tessaly::Tasks
#pragma once

#include <cstdint>

#include "Tessaly/Core/Base/Requirements.hpp"

namespace Tessaly::inline v1 {

/// How urgent a task is. A job of a higher priority is served before all waiting jobs of lower ones.
enum class TaskPriority : std::uint8_t {
  background = 9,
  low = 17,
  medium = 21,  ///< The default.
  high = 25,
  utility = low,
  userInitiated = high,
};

}  // namespace Tessaly::inline v1
