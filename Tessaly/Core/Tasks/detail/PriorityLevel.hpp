// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstddef>

#include "Tessaly/Core/Tasks/TaskPriority.hpp"

namespace Tessaly::inline v1::detail {

/// The number of priorities that queues distinguish.
inline constexpr std::size_t priorityLevelCount = 4;

/// The level of a priority: from 0 for background to 3 for high.
constexpr unsigned levelOf(TaskPriority priority) noexcept {
  if (priority >= TaskPriority::high) return 3;
  if (priority >= TaskPriority::medium) return 2;
  return priority >= TaskPriority::low ? 1 : 0;
}

/// The priority that stands for a level: from `background` for 0 to `high` for 3.
constexpr TaskPriority priorityOf(unsigned level) noexcept {
  constexpr std::array<TaskPriority, priorityLevelCount> priorities{TaskPriority::background, TaskPriority::low,
                                                                    TaskPriority::medium, TaskPriority::high};
  return priorities[level];
}

}  // namespace Tessaly::inline v1::detail
