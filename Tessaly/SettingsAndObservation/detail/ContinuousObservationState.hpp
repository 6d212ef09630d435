// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <utility>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Base/Retained.hpp"
#include "Tessaly/Core/Locks/UnfairLock.hpp"
#include "Tessaly/Core/Observation/detail/AccessList.hpp"
#include "Tessaly/Core/Observation/detail/Tracking.hpp"

namespace Tessaly::inline v1::detail {

/// The state that a token and its loop share: the end of the observation, and the wait for the next change.
class TESSALY_EXPORT ContinuousObservationState {
 public:
  /// A late reading delays the end by a pass, so no order is asked for.
  [[nodiscard]] bool isCancelled() const noexcept { return isCancelled_.load(std::memory_order_relaxed); }
  /// Ends the observation and lets go of what it captured, unless a pass is under way, which then does.
  void cancel() noexcept;

  /// Has the function called at the next change of what the list holds, if the observation goes on.
  template <typename OnChange>
  void follow(AccessList& accesses, OnChange onChange) {
    if (accesses.count() == 0) return;
    auto tracking = Retained<Tracking>::adopt(new HandlerTracking<OnChange>(accesses, std::move(onChange)));
    if (!keep(tracking)) return;
    tracking->retain();
    tracking->install(accesses);
  }

 private:
  [[nodiscard]] bool keep(Retained<Tracking> tracking) noexcept;

  std::atomic<bool> isCancelled_{false};
  UnfairLock lock_;
  Retained<Tracking> tracking_ TESSALY_GUARDED_BY(lock_);
};

}  // namespace Tessaly::inline v1::detail
