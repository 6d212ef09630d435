// SPDX-License-Identifier: MIT
#include <vector>

#include "Tessaly/Concurrency/Mutex.hpp"

int main(int argumentCount, char**) {
  Tessaly::Mutex<std::vector<int>> numbers(std::vector<int>(16));
  return numbers.withLock([&](auto& vector) { return vector.data()[15 + argumentCount]; });
}
