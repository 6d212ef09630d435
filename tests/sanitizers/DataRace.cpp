// SPDX-License-Identifier: MIT
#include <thread>

#include "Tessaly/Concurrency/Mutex.hpp"

// One thread keeps the address of the guarded value and writes there without the lock.
int main() {
  Tessaly::Mutex<int> number(0);
  int* leaked = nullptr;
  number.withLock([&](int& value) { leaked = &value; });
  std::jthread other([&] { number.withLock([](int& value) { value = 1; }); });
  *leaked = 2;
}
