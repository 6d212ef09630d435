// SPDX-License-Identifier: MIT
#include <limits>

#include "Tessaly/Concurrency/Mutex.hpp"

int main(int argumentCount, char**) {
  Tessaly::Mutex<int> number(std::numeric_limits<int>::max());
  return number.withLock([&](int& value) { return value += argumentCount; });
}
