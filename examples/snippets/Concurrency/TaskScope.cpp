// SPDX-License-Identifier: MIT
#include "Tessaly/Concurrency/TaskScope.hpp"

#include <string>
#include <vector>

namespace Tessaly {

Async<void> printSlowly(const std::vector<std::string>& titles);
std::vector<std::string> titlesOf(const std::vector<int>& documents);
void waitForEnterKey();

void snippet(const std::vector<int>& documents) {
  std::vector<std::string> titles = titlesOf(documents);
  TaskScope scope;
  scope.add([&titles] { return printSlowly(titles); });
  waitForEnterKey();
  // Here the printing is cancelled and waited for.
}

}  // namespace Tessaly
