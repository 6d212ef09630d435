// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

#include "Tessaly/Core/Tasks/Task.hpp"

namespace Tessaly::inline v1::detail {

/// Makes room for another task in a list of tasks that may still run. Before a full list grows, its finished tasks are
/// removed. So the list has at most 16 entries, or twice the maximum number of simultaneously running tasks, whichever
/// is more. Amortised O(1).
inline void makeRoomForTask(std::vector<Task<>>& tasks) {
  constexpr std::size_t minimumCapacity = 16;
  if (tasks.size() < tasks.capacity()) return;
  std::erase_if(tasks, [](const Task<>& task) { return task.isFinished(); });
  tasks.reserve(std::max(minimumCapacity, 2 * tasks.size()));
}

/// A compile-time error for the mistake of adding `work()` where `[=] { return work(); }` is meant.
template <typename Result>
void refuseAsync() {
  static_assert(sizeof(AsyncAwaiter<Result>) == 0,
                "a task takes a function, not the Async of a call: write add([=] { return work(); })");
}

}  // namespace Tessaly::inline v1::detail
