// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Tasks/Async.hpp"

#include "Tessaly/Core/Base/FatalError.hpp"

namespace Tessaly::inline v1::detail {

void stopAwaitingTwice() noexcept {
  fatalError("An Async was awaited twice, or after it had been moved from", "Tessaly/Async", __LINE__);
}

}  // namespace Tessaly::inline v1::detail
