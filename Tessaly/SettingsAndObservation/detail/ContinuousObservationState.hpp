// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Base/Retained.hpp"
#include "Tessaly/Core/Locks/UnfairLock.hpp"

namespace Tessaly::inline v1::detail {

class AccessList;
class Tracking;

/// The state that a token and its observation share: whether the observation has ended, and the tracking that waits for
/// the next change.
class TESSALY_EXPORT ContinuousObservationState {
 public:
  /// Whether the observation has ended. A relaxed load suffices, because it sees every end that happens before it. If
  /// another thread ends the observation at the same time, one more pass may run.
  [[nodiscard]] bool isCancelled() const noexcept { return isCancelled_.load(std::memory_order_relaxed); }
  /// Ends the observation and releases the captures of its functions. If a pass is running or queued, the captures are
  /// released after that pass.
  void cancel() noexcept;

  /// Installs the tracking, which must be for the points of the list, unless the observation has ended.
  void follow(AccessList& accesses, const Retained<Tracking>& tracking) noexcept;

 private:
  [[nodiscard]] bool keep(Retained<Tracking> tracking) noexcept;

  std::atomic<bool> isCancelled_{false};
  UnfairLock lock_;
  Retained<Tracking> tracking_ TESSALY_GUARDED_BY(lock_);
};

}  // namespace Tessaly::inline v1::detail
