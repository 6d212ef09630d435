// expected: overload resolution selected deleted operator '='
// SPDX-License-Identifier: MIT
#include <utility>

#include "Tessaly/Concurrency/Mutex.hpp"

void assign(Tessaly::Mutex<int>& one, Tessaly::Mutex<int>& other) {
#ifdef ALLOWED
  one = std::move(other);
#else
  one = other;
#endif
}
