// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Tasks/Task.hpp"

#include <string>

namespace Tessaly {

int countFiles(const std::string& folder);
void show(int count);

Async<void> snippet() {
  Task<int> count([] { return countFiles("/usr/include"); });
  show(co_await count.value());
}

}  // namespace Tessaly
