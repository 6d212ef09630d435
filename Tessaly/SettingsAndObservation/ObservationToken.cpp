// SPDX-License-Identifier: MIT
#include "Tessaly/SettingsAndObservation/ObservationToken.hpp"

#include "Tessaly/Core/Base/FatalError.hpp"

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
