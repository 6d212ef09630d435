// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Observation/detail/Tracking.hpp"

#include <memory>

namespace Tessaly::inline v1::detail {

void Tracking::makeRoomForMany() { many_ = std::make_unique<Registration[]>(count_).release(); }

void Tracking::releasePoints() noexcept {
  for (std::size_t i = 0; i < count_; ++i) {
    if (ObservationPoint* const point = registrations()[i].point) point->release();
  }
  delete[] many_;
}

void Tracking::install(AccessList& accesses) noexcept {
  if (count_ == 1) [[likely]] {
    one_.point = accesses[0].point;
    accesses.surrender();
    const ObservationPoint::Link link = one_.point->link(one_, *this, accesses[0].version);
    if (link == ObservationPoint::Link::made) return;  // From here on this object may have been destroyed.
    if (link == ObservationPoint::Link::changed) fire();
    release();
  } else {
    installMany(accesses);
  }
}

void Tracking::installMany(AccessList& accesses) noexcept {
  const std::size_t count = count_;
  for (std::size_t i = 0; i < count; ++i) registrations()[i].point = accesses[i].point;
  references_.fetch_add(static_cast<std::uint32_t>(count) - 1, std::memory_order_relaxed);
  // Each registration in a list holds a reference. After the last registration this object may have been destroyed.
  std::size_t kept = 0;
  bool isChanged = false;
  std::size_t i = 0;
  for (; i < count; ++i) {
    const ObservationPoint::Link link = accesses[i].point->link(registrations()[i], *this, accesses[i].version);
    if (link == ObservationPoint::Link::made) continue;
    if (link != ObservationPoint::Link::ended) {
      isChanged = link == ObservationPoint::Link::changed;
      break;
    }
    ++kept;
  }
  kept += count - i;
  accesses.surrender();
  if (isChanged) fire();
  for (; kept > 0; --kept) release();
}

void Tracking::finish(Finish finish) noexcept {
  const WithoutTracking untracked;
  std::uint32_t given = 0;
  for (std::size_t i = 0; i < count_; ++i) {
    if (registrations()[i].point->unlink(registrations()[i])) ++given;
  }
  finishHandler(finish);
  for (; given > 0; --given) release();
}

}  // namespace Tessaly::inline v1::detail
