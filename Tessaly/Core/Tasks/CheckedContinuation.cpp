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

void ContinuationState::claim(const std::exception_ptr& error) noexcept {
  if (error == nullptr) {
    fatalError("The continuation '" + name_ + "' was resumed with a null exception_ptr instead of an error",
               "Tessaly/CheckedContinuation", __LINE__);
  }
  claim();
}

}  // namespace Tessaly::inline v1::detail
