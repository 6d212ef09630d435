// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Tasks/CheckedContinuation.hpp"

#include "Tessaly/Core/Base/FatalError.hpp"
#include "Tessaly/Core/Logging/detail/PlatformLog.hpp"

namespace Tessaly::inline v1::detail {

ContinuationState::~ContinuationState() {
  if (isClaimed_.load(std::memory_order_relaxed)) return;
  logPlatformError("CheckedContinuation",
                   "The continuation '" + name_ + "' was dropped without being resumed; its task stays suspended.");
}

void ContinuationState::claim() noexcept {
  if (isClaimed_.exchange(true, std::memory_order_acq_rel)) {
    fatalError("The continuation '" + name_ + "' was resumed more than once", "Tessaly/CheckedContinuation", __LINE__);
  }
}

}  // namespace Tessaly::inline v1::detail
