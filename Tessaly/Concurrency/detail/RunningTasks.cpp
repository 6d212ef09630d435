// SPDX-License-Identifier: MIT
#include "Tessaly/Concurrency/detail/RunningTasks.hpp"

#include <algorithm>
#include <cstddef>

namespace Tessaly::inline v1::detail {

std::vector<Task<>> takeFinished(std::vector<Task<>>& tasks) {
  std::vector<Task<>> taken;
  std::erase_if(tasks, [&taken](const Task<>& task) {
    const bool isFinished = task.isFinished();
    if (isFinished) taken.push_back(task);
    return isFinished;
  });
  return taken;
}

std::vector<Task<>> makeRoomForTask(std::vector<Task<>>& tasks) {
  constexpr std::size_t minimumCapacity = 16;
  if (tasks.size() < tasks.capacity()) return {};
  std::vector<Task<>> finished = takeFinished(tasks);
  tasks.reserve(std::max(minimumCapacity, 2 * tasks.size()));
  return finished;
}

}  // namespace Tessaly::inline v1::detail
