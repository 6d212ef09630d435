// expected: a child takes a function, not the Async of a call: write addTask\(\[=\] \{ return work\(\); \}\)
// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Tasks/TaskGroup.hpp"

Tessaly::Async<int> work(int number);

void start(Tessaly::TaskGroup<int>& group) {
#ifdef ALLOWED
  group.addTask([] { return work(3); });
#else
  group.addTask(work(3));
#endif
}
