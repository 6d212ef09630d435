// expected: the operation must give the task's result
// SPDX-License-Identifier: MIT
#include <string>

#include "Tessaly/Core/Tasks/Task.hpp"

#ifdef ALLOWED
using Result = int;
#else
using Result = std::string;
#endif

void start() {
  const Tessaly::Task<Result> task([]() -> Tessaly::Async<int> { co_return 1; });
}
