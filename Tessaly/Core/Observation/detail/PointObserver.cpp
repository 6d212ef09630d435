// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Observation/detail/PointObserver.hpp"

#include "Tessaly/Core/Base/detail/Futex.hpp"
#include "Tessaly/Core/Observation/detail/ObservationPoint.hpp"

namespace Tessaly::inline v1::detail {

Observer::~Observer() = default;

PointObserver::~PointObserver() {
  if (point_ != nullptr) point_->release();
}

bool PointObserver::registerWith(const Access& access) noexcept {
  point_ = access.point;
  return point_->add(*this, access.version);
}

void PointObserver::registerAndCall(const Access& access) noexcept {
  point_ = access.point;
  point_->addAndCall(*this);
}

void PointObserver::call() noexcept { point_->call(*this); }

void PointObserver::cancel() noexcept {
  if (point_ != nullptr) static_cast<void>(point_->remove(*this));
}

void PointObserver::stop() noexcept {
  if (point_ != nullptr && point_->remove(*this)) waitUntilSettled();
}

void PointObserver::waitUntilSettled() noexcept {
  for (;;) {
    std::uint32_t state = discarding_.load(std::memory_order_acquire);
    if (state == settled) return;
    if (state == awaited ||
        discarding_.compare_exchange_strong(state, awaited, std::memory_order_relaxed, std::memory_order_acquire)) {
      futexWait(discarding_, awaited);
    }
  }
}

}  // namespace Tessaly::inline v1::detail
