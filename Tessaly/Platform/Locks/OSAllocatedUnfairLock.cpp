// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Locks/OSAllocatedUnfairLock.hpp"

#include "Tessaly/Platform/Base/FatalError.hpp"

namespace Tessaly::inline v1 {

void OSAllocatedUnfairLock<void>::stopAfterMove() noexcept {
  fatalError("A lock was used after it had been moved from", "Tessaly/OSAllocatedUnfairLock", __LINE__);
}

}  // namespace Tessaly::inline v1
