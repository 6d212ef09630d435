// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Observation/Tracking.hpp"

namespace Tessaly::inline v1::detail {

Tracking::~Tracking() {
  for (std::size_t i = 0; i < count_; ++i) registrations()[i].point->release();
}

void Tracking::install(AccessList& accesses, Moment moment) {
  const std::size_t count = accesses.count();
  if (count > 1) many_ = std::make_unique<Registration[]>(count);
  for (std::size_t i = 0; i < count; ++i) {
    registrations()[i].point = accesses[i].point;
    registrations()[i].tracking = this;
  }
  count_ = static_cast<std::uint32_t>(count);
  bool isUnchanged = true;
  for (std::size_t i = 0; i < count && isUnchanged; ++i) {
    isUnchanged = installOne(registrations()[i], accesses[i].version, moment);
  }
  accesses.surrender();
  if (!isUnchanged) fire();
}

bool Tracking::installOne(Registration& registration, std::uint64_t version, Moment moment) noexcept {
  ObservationPoint& point = *registration.point;
  const std::uint64_t before = point.version();
  const bool isChanging = ObservationPoint::isChanging(before);
  if (!isChanging && before != version) return false;
  const auto list =
      isChanging || moment == Moment::afterTheChange ? Registration::List::after : Registration::List::before;
  retain();
  if (!point.link(registration, list)) {
    release();
    // The tracking was fired from another point, or this one has ended: by another thread, or else with its version
    // noted.
    return point.version() == version;
  }
  const std::uint64_t after = point.version();
  // A change that began once the registration was in the list of those who are called after it will find it there.
  return after == before || (list == Registration::List::after && ObservationPoint::isChanging(after));
}

void Tracking::finish(Finish finish) noexcept {
  retain();  // The caller's reference may be one of those that are given up here.
  const WithoutTracking untracked;
  std::uint32_t given = 0;
  for (std::size_t i = 0; i < count_; ++i) {
    if (registrations()[i].point->unlink(registrations()[i])) ++given;
  }
  finishHandler(finish);
  for (; given > 0; --given) release();
  release();
}

}  // namespace Tessaly::inline v1::detail
