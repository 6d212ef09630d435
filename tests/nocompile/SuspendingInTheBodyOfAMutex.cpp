// expected: the body must not suspend: it would continue without the lock
// SPDX-License-Identifier: MIT
#include "Tessaly/Concurrency/Mutex.hpp"

template <>
class Tessaly::Async<int> {};

void suspend(Tessaly::Mutex<int>& mutex) {
#ifdef ALLOWED
  mutex.withLock([](int& value) { return value; });
#else
  mutex.withLock([](int&) { return Tessaly::Async<int>(); });
#endif
}
