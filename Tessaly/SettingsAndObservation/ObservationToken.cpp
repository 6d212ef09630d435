// SPDX-License-Identifier: MIT
#include "Tessaly/SettingsAndObservation/ObservationToken.hpp"

#include "Tessaly/Platform/Base/FatalError.hpp"

namespace Tessaly::inline v1 {

constinit const TaskLocal<bool> ObservationToken::isFirstBinding(false);

ObservationToken& ObservationToken::operator=(ObservationToken&& other) noexcept {
  if (this != &other) {
    if (isCancelled_ != nullptr) cancel();
    isCancelled_ = std::move(other.isCancelled_);
  }
  return *this;
}

ObservationToken::~ObservationToken() {
  if (isCancelled_ != nullptr) cancel();
}

void ObservationToken::cancel() noexcept {
  if (isCancelled_ == nullptr) {
    fatalError("An observation token was used after it had been moved from", "Tessaly/ObservationToken", __LINE__);
  }
  isCancelled_->store(true, std::memory_order_relaxed);
}

void ObservationToken::store(std::vector<ObservationToken>& tokens) && {
  if (isCancelled_ == nullptr) {
    fatalError("An observation token was used after it had been moved from", "Tessaly/ObservationToken", __LINE__);
  }
  tokens.push_back(std::move(*this));
}

bool ObservationToken::isFirst() noexcept { return isFirstBinding.value(); }

}  // namespace Tessaly::inline v1
