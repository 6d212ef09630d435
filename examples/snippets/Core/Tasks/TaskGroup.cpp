// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Tasks/TaskGroup.hpp"

#include <string>
#include <vector>

namespace Tessaly {

int countFiles(const std::string& folder);

Async<int> snippet(std::vector<std::string> folders) {
  int total = co_await withTaskGroup<int>([&](TaskGroup<int>& group) -> Async<int> {
    for (const auto& folder : folders) group.addTask([folder] { return countFiles(folder); });
    int sum = 0;
    while (auto count = co_await group.next()) sum += *count;
    co_return sum;
  });
  co_return total;
}

}  // namespace Tessaly
