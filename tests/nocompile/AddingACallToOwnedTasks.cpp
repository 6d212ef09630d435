// expected: a task takes a function, not the Async of a call: write add\(\[=\] \{ return work\(\); \}\)
// SPDX-License-Identifier: MIT
#include "Tessaly/Concurrency/OwnedTasks.hpp"

Tessaly::Async<void> work(int number);

void start(Tessaly::OwnedTasks& tasks) {
#ifdef ALLOWED
  tasks.add([] { return work(3); });
#else
  tasks.add(work(3));
#endif
}
