// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Locks/UnfairLock.hpp"

namespace Tessaly {

void showUnfairLock(int& total) {
  UnfairLock lock;
  {
    UnfairLock::Guard guard(lock);
    total += 1;
  }
}

}  // namespace Tessaly
