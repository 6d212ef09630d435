// expected: the body must not hand the guarded value out by reference
// SPDX-License-Identifier: MIT
#include <string>

#include "Tessaly/Concurrency/Mutex.hpp"

void leak(Tessaly::Mutex<std::string>& mutex) {
#ifdef ALLOWED
  const std::string copy = mutex.withLock([](std::string& value) { return value; });
#else
  const std::string& leaked = mutex.withLock([](std::string& value) -> std::string& { return value; });
#endif
}
