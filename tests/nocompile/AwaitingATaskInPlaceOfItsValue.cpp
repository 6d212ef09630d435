// expected: a Task is not awaited itself: write co_await task.value\(\), or task.finished\(\) to only wait
// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Tasks/Task.hpp"

Tessaly::Async<void> wait(Tessaly::Task<int> task) {
#ifdef ALLOWED
  co_await task.value();
#else
  co_await task;
#endif
}
