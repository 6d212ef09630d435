// expected: call to deleted constructor of
// SPDX-License-Identifier: MIT
#include <utility>

#include "Tessaly/Concurrency/AutoCancelTask.hpp"

void copy(Tessaly::AutoCancelTask<> task) {
#ifdef ALLOWED
  Tessaly::AutoCancelTask<> other(std::move(task));
#else
  Tessaly::AutoCancelTask<> other(task);
#endif
}
