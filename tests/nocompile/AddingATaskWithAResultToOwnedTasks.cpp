// expected: a task of OwnedTasks gives no result: let it change its owner, or use a Task
// SPDX-License-Identifier: MIT
#include "Tessaly/Concurrency/OwnedTasks.hpp"

void start(Tessaly::OwnedTasks& tasks) {
#ifdef ALLOWED
  tasks.add([] {});
#else
  tasks.add([] { return 1; });
#endif
}
