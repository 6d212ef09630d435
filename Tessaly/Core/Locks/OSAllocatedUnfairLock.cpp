// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Locks/OSAllocatedUnfairLock.hpp"

#include "Tessaly/Core/Base/FatalError.hpp"

namespace Tessaly::inline v1 {

void OSAllocatedUnfairLock<void>::stopAfterMove() noexcept {
  fatalError("A lock was used after it had been moved from", "Tessaly/OSAllocatedUnfairLock", __LINE__);
}

}  // namespace Tessaly::inline v1
