// expected: writing variable 'total' requires holding lock 'lock' exclusively
// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Locks/UnfairLock.hpp"

struct Counter {
  Tessaly::UnfairLock lock;
  int total TESSALY_GUARDED_BY(lock) = 0;

  void count() {
#ifdef ALLOWED
    Tessaly::UnfairLock::Guard guard(lock);
#endif
    total += 1;
  }
};
