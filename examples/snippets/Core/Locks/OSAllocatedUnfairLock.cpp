// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Locks/OSAllocatedUnfairLock.hpp"

namespace Tessaly {

void showOSAllocatedUnfairLock(int& counter) {
  OSAllocatedUnfairLock<void> lock;
  auto next = lock.withLock([&] { return counter++; });
}

}  // namespace Tessaly
