// expected: a Task takes a function, not the Async of a call: write Task task\(\[=\] \{ return work\(\); \}\)
// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Tasks/Task.hpp"

Tessaly::Async<int> work(int number);

void start() {
#ifdef ALLOWED
  const Tessaly::Task task([] { return work(3); });
#else
  const Tessaly::Task task(work(3));
#endif
}
