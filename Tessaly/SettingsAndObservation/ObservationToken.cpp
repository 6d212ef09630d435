// SPDX-License-Identifier: MIT
#include "Tessaly/SettingsAndObservation/ObservationToken.hpp"

#include "Tessaly/Core/Base/CallNotification.hpp"
#include "Tessaly/Core/Base/FatalError.hpp"
#include "Tessaly/Core/Observation/detail/Tracking.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"
#include "Tessaly/SettingsAndObservation/detail/ContinuousObservationState.hpp"

namespace Tessaly::inline v1 {

void detail::ContinuousObservationState::cancel() noexcept {
  Retained<Tracking> tracking;
  {
    UnfairLock::Guard guard(lock_);
    isCancelled_.store(true, std::memory_order_relaxed);
    tracking = std::move(tracking_);
  }
  if (tracking) tracking->cancel();
}

bool detail::ContinuousObservationState::keep(Retained<Tracking> tracking) noexcept {
  UnfairLock::Guard guard(lock_);
  if (isCancelled()) return false;
  tracking_ = std::move(tracking);
  return true;
}

void detail::ContinuousObservationState::follow(AccessList& accesses, const Retained<Tracking>& tracking) noexcept {
  if (!keep(tracking)) return;
  tracking->retain();
  tracking->install(accesses);
}

detail::PassBinding::PassBinding(bool isFirst) : binding_(&ObservationToken::isFirstBinding, isFirst) {}

detail::PassBinding::~PassBinding() = default;

detail::ContinuousPasses::ContinuousPasses(Isolation isolation)
    : state_(std::make_shared<ContinuousObservationState>()), isolation_(std::move(isolation)) {}

detail::ContinuousPasses::~ContinuousPasses() = default;

ObservationToken detail::ContinuousPasses::begin() {
  ObservationToken token(state_);
  pass(true);
  return token;
}

void detail::ContinuousPasses::follow(AccessList& accesses) {
  if (accesses.count() == 0) return;
  auto onChange = [self = Retained<ContinuousPasses>::sharing(*this)] { self->scheduleNextPass(); };
  state_->follow(accesses,
                 Retained<Tracking>::adopt(new HandlerTracking<decltype(onChange)>(accesses, std::move(onChange))));
}

void detail::ContinuousPasses::scheduleNextPass() {
  const Task<> task({.priority = TaskPriority::high, .isolation = isolation_},
                    [self = Retained<ContinuousPasses>::sharing(*this)] {
                      const auto nextPass = [&] { self->passUnlessCancelled(); };
                      callNotification("The evaluation of a continuous observation", nextPass);
                    });
}

void detail::ContinuousPasses::passUnlessCancelled() {
  if (!state_->isCancelled()) pass(false);
}

constinit const TaskLocal<bool> ObservationToken::isFirstBinding(false);

ObservationToken& ObservationToken::operator=(ObservationToken&& other) noexcept {
  if (this != &other) {
    if (state_ != nullptr) cancel();
    state_ = std::move(other.state_);
  }
  return *this;
}

ObservationToken::~ObservationToken() {
  if (state_ != nullptr) cancel();
}

void ObservationToken::cancel() noexcept {
  if (state_ == nullptr) {
    fatalError("An observation token was used after it had been moved from", "Tessaly/ObservationToken", __LINE__);
  }
  state_->cancel();
}

void ObservationToken::store(std::vector<ObservationToken>& tokens) {
  if (state_ == nullptr) {
    fatalError("An observation token was used after it had been moved from", "Tessaly/ObservationToken", __LINE__);
  }
  tokens.push_back(std::move(*this));
}

bool ObservationToken::isFirst() noexcept { return isFirstBinding.value(); }

}  // namespace Tessaly::inline v1
