// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Observation/detail/ChangeFollower.hpp"

#include <climits>

#include "Tessaly/Core/Base/Futex.hpp"
#include "Tessaly/Core/Base/ThreadIdentifier.hpp"
#include "Tessaly/Core/Tasks/detail/Notification.hpp"

namespace Tessaly::inline v1::detail {

ChangeFollower::~ChangeFollower() = default;

void ChangeFollower::start() {
  const WithoutTracking untracked;
  if (takeTurn() != Turn::outermost) return;
  try {
    takeSteps(Occasion::start);
  } catch (...) {
    state_.fetch_or(hasEnded, std::memory_order_relaxed);
    finish();
    throw;
  }
}

ChangeFollower::Turn ChangeFollower::takeTurn() noexcept {
  const std::uint32_t self = currentThreadIdentifier();
  std::uint32_t state = state_.load(std::memory_order_relaxed);
  for (;;) {
    if ((state & hasEnded) != 0) return Turn::none;
    const std::uint32_t thread = state & threadMask;
    if (thread == self && reading_ == nullptr) return Turn::nested;
    // What the function changes itself is no change that it has missed.
    if (thread == self && reading_->isRecording()) return Turn::none;
    // The flag is set anew also where it is set: who takes it back must see what has changed.
    const std::uint32_t next = thread == 0 ? self : state | hasMissedOne;
    if (state_.compare_exchange_weak(state, next, std::memory_order_acq_rel, std::memory_order_relaxed)) {
      return thread == 0 ? Turn::outermost : Turn::none;
    }
  }
}

void ChangeFollower::change(Turn turn) noexcept {
  const WithoutTracking untracked;
  const auto steps = [&] { turn == Turn::outermost ? takeSteps(Occasion::change) : step(Occasion::change); };
  callNotification("The evaluation of an observed property", steps);
}

void ChangeFollower::step(Occasion occasion) {
  isTracking_ = false;
  follow(occasion);
  if (!isTracking_) deregister();
}

void ChangeFollower::takeSteps(Occasion occasion) {
  const std::uint32_t self = currentThreadIdentifier();
  for (;; occasion = Occasion::change) {
    step(occasion);
    std::uint32_t state = self;
    if (state_.compare_exchange_strong(state, 0, std::memory_order_acq_rel, std::memory_order_relaxed)) return;
    if ((state & hasEnded) != 0) return finish();
    state_.fetch_and(~hasMissedOne, std::memory_order_acq_rel);
  }
}

bool ChangeFollower::isRegisteredWith(const AccessList& accesses) const noexcept {
  if (accesses.count() != count_) return false;
  for (std::size_t i = 0; i < count_; ++i) {
    if (registrations_[i].point != accesses[i].point) return false;
  }
  return true;
}

void ChangeFollower::registerWith(AccessList& accesses) {
  if (isRegisteredWith(accesses)) return;
  const std::size_t count = accesses.count();
  auto registrations = std::make_unique<Registration[]>(count);
  bool hasMissed = false;
  for (std::size_t i = 0; i < count; ++i) {
    registrations[i].point = accesses[i].point;
    registrations[i].registrant = this;
    if (!accesses[i].point->linkFollower(registrations[i], accesses[i].version)) hasMissed = true;
  }
  accesses.surrender();
  // Only now, so that nothing is missed of what is read again.
  deregister();
  registrations_ = std::move(registrations);
  count_ = static_cast<std::uint32_t>(count);
  if (hasMissed) state_.fetch_or(hasMissedOne, std::memory_order_relaxed);
}

void ChangeFollower::deregister() noexcept {
  for (std::size_t i = 0; i < count_; ++i) {
    ObservationPoint& point = *registrations_[i].point;
    point.unlink(registrations_[i]);
    point.release();
  }
  count_ = 0;
  registrations_.reset();
}

/// By who is at it, once it has ended.
void ChangeFollower::finish() noexcept {
  deregister();
  letGo();
  const std::uint32_t state = state_.exchange(hasEnded, std::memory_order_acq_rel);
  if ((state & isAwaited) != 0) futexWake(state_, INT_MAX);
  release();
}

void ChangeFollower::cancel() noexcept {
  const std::uint32_t self = currentThreadIdentifier();
  std::uint32_t state = state_.load(std::memory_order_relaxed);
  for (;;) {
    if ((state & hasEnded) != 0) return;
    const bool isFree = (state & threadMask) == 0;
    const std::uint32_t next = state | hasEnded | (isFree ? self : 0);
    if (!state_.compare_exchange_weak(state, next, std::memory_order_acq_rel, std::memory_order_relaxed)) continue;
    if (isFree) finish();
    return;
  }
}

void ChangeFollower::stop() noexcept {
  cancel();
  const std::uint32_t self = currentThreadIdentifier();
  for (;;) {
    std::uint32_t state = state_.load(std::memory_order_acquire);
    const std::uint32_t thread = state & threadMask;
    if (thread == 0 || thread == self) return;
    if ((state & isAwaited) != 0 || state_.compare_exchange_strong(state, state | isAwaited)) {
      futexWait(state_, state | isAwaited);
    }
  }
}

}  // namespace Tessaly::inline v1::detail
