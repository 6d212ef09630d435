// SPDX-License-Identifier: MIT
// Component: Tessaly::Tasks
#pragma once

#include <cstdint>

#include "Tessaly/Core/Base/Requirements.hpp"

namespace Tessaly::inline v1 {

/// The urgency of a task. On the global pool, a job of a higher priority runs before all waiting jobs of lower
/// priorities.
enum class TaskPriority : std::uint8_t {
  background = 9,
  low = 17,
  medium = 21,  ///< The default.
  high = 25,
  utility = low,
  userInitiated = high,
};

}  // namespace Tessaly::inline v1
