// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Base/detail/ForkGuard.hpp"

#include "Tessaly/Core/Base/FatalError.hpp"
#include "Tessaly/Core/Base/detail/FirstUse.hpp"

namespace Tessaly::inline v1::detail {

constinit std::atomic<bool> isForkedChildOfRuntime{false};

void stopForkedChild() noexcept {
  fatalError(
      "The runtime was used in the child of a fork that happened after the runtime had started; fork before first use, "
      "or call exec in the child",
      "Tessaly/ForkGuard", __LINE__);
}

void noteRuntimeStarted() noexcept {
  callInForkedChildren<[] { isForkedChildOfRuntime.store(true, std::memory_order_relaxed); }>();
}

}  // namespace Tessaly::inline v1::detail
