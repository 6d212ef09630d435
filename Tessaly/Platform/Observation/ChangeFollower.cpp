// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Observation/ChangeFollower.hpp"

#include <climits>

#include "Tessaly/Platform/Base/Futex.hpp"
#include "Tessaly/Platform/Base/ThreadIdentifier.hpp"

namespace Tessaly::inline v1::detail {

ChangeFollower::~ChangeFollower() = default;

void ChangeFollower::step(Occasion occasion) {
  const std::uint32_t self = currentThreadIdentifier();
  bool isOutermost = false;
  {
    UnfairLock::Guard guard(lock_);
    if (isStopped_) return;
    const std::uint32_t thread = thread_.load(std::memory_order_relaxed);
    if (thread != 0 && (thread != self || isInstalling_)) {
      hasMissedOne_ = true;
      return;
    }
    isOutermost = thread == 0;
    thread_.store(self, std::memory_order_relaxed);
  }
  for (bool goesOn = true; goesOn;) {
    follow(occasion);
    occasion = Occasion::change;
    UnfairLock::Guard guard(lock_);
    goesOn = std::exchange(hasMissedOne_, false) && !isStopped_;
    if (!goesOn && isOutermost) thread_.store(0, std::memory_order_seq_cst);
  }
  if (isOutermost && waiters_.load(std::memory_order_seq_cst) != 0) futexWake(thread_, INT_MAX);
}

void ChangeFollower::install(AccessList& accesses) {
  if (accesses.count() == 0) return;
  auto onChange = [self = shared_from_this()] { self->step(Occasion::change); };
  auto tracking =
      TaskReference<Tracking>::adopt(new HandlerTracking<decltype(onChange)>(accesses, std::move(onChange)));
  TaskReference<Tracking> last;
  {
    UnfairLock::Guard guard(lock_);
    if (isStopped_) return;
    isInstalling_ = true;
    last = std::exchange(tracking_, tracking);
  }
  tracking->retain();
  tracking->install(accesses, Tracking::Moment::afterTheChange);
  TaskReference<Tracking> stopped;
  {
    UnfairLock::Guard guard(lock_);
    isInstalling_ = false;
    if (isStopped_) stopped = std::move(tracking_);
  }
  if (stopped) stopped->cancel();
}

void ChangeFollower::cancel() noexcept {
  TaskReference<Tracking> tracking;
  {
    UnfairLock::Guard guard(lock_);
    isStopped_ = true;
    if (!isInstalling_) tracking = std::move(tracking_);  // Else the installing thread cancels it when it is whole.
  }
  if (tracking) tracking->cancel();
}

void ChangeFollower::stop() noexcept {
  cancel();
  waiters_.fetch_add(1, std::memory_order_seq_cst);
  const std::uint32_t self = currentThreadIdentifier();
  for (std::uint32_t thread = thread_.load(std::memory_order_seq_cst); thread != 0 && thread != self;
       thread = thread_.load(std::memory_order_seq_cst)) {
    futexWait(thread_, thread);
  }
  waiters_.fetch_sub(1, std::memory_order_relaxed);
}

}  // namespace Tessaly::inline v1::detail
