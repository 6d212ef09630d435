// expected: call to deleted constructor of 'Tessaly::Mutex<int>'
// SPDX-License-Identifier: MIT
#include <utility>

#include "Tessaly/Concurrency/Mutex.hpp"

void copy() {
  Tessaly::Mutex<int> mutex(1);
#ifdef ALLOWED
  Tessaly::Mutex<int> other(std::move(mutex));
#else
  Tessaly::Mutex<int> other(mutex);
#endif
}
