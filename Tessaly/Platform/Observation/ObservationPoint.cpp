// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Observation/ObservationPoint.hpp"

#include "Tessaly/Platform/Observation/Tracking.hpp"

namespace Tessaly::inline v1::detail {

ObservationPoint::Link ObservationPoint::link(Registration& registration, Version version, Moment moment) noexcept {
  UnfairLock::Guard guard(lock_);
  const Version before = this->version();
  const bool wasChanging = isChanging(before);
  if (!wasChanging && before != version) return Link::changed;
  if (hasEnded_) return before == version ? Link::ended : Link::changed;
  const auto list =
      wasChanging || moment == Moment::afterTheChange ? Registration::List::after : Registration::List::before;
  std::atomic<Registration*>& head = this->head(list);
  Registration* const first = head.load(std::memory_order_relaxed);
  registration.previous = nullptr;
  registration.next = first;
  if (first != nullptr) first->previous = &registration;
  registration.list = list;
  head.store(&registration, std::memory_order_seq_cst);
  const bool isFired = registration.tracking->isFired();
  const Version after = this->version();
  // A change that began since will find the registration among those to be called after it.
  const bool isUnchanged = after == before || (list == Registration::List::after && isChanging(after));
  if (isUnchanged && !isFired) return Link::made;
  remove(registration);
  return isFired ? Link::fired : Link::changed;
}

bool ObservationPoint::unlink(Registration& registration) noexcept {
  UnfairLock::Guard guard(lock_);
  if (registration.list == Registration::List::none) return false;
  remove(registration);
  return true;
}

void ObservationPoint::remove(Registration& registration) noexcept {
  if (registration.next != nullptr) registration.next->previous = registration.previous;
  if (registration.previous != nullptr) {
    registration.previous->next = registration.next;
  } else {
    head(registration.list).store(registration.next, std::memory_order_relaxed);
  }
  registration.list = Registration::List::none;
}

void ObservationPoint::fire(std::atomic<Registration*>& list) noexcept {
  Registration* taken = nullptr;
  {
    UnfairLock::Guard guard(lock_);
    taken = list.load(std::memory_order_relaxed);
    list.store(nullptr, std::memory_order_relaxed);
    for (Registration* each = taken; each != nullptr; each = each->next) each->list = Registration::List::none;
  }
  // What was taken out is held by the reference that its being in the list was worth.
  while (taken != nullptr) {
    Tracking& tracking = *taken->tracking;
    taken = taken->next;
    tracking.fireTaken();
    tracking.release();
  }
}

void ObservationPoint::noteOwnChange(Version before, Version after) noexcept {
  currentAccessList->noteOwnChange(*this, before, after);
}

void ObservationPoint::end() noexcept {
  // The version first: whoever finds the point ended must also find it changed.
  const Version before = version_.fetch_add(begun + underWay, std::memory_order_seq_cst);
  if (currentAccessList != nullptr) noteOwnChange(before, before + begun + underWay);
  {
    UnfairLock::Guard guard(lock_);
    hasEnded_ = true;
  }
  fire(before_);
  didChange();
}

ObservationPoint& LazyObservationPoint::makeSlowly() const {
  auto* made = new ObservationPoint;
  ObservationPoint* current = nullptr;
  if (point_.compare_exchange_strong(current, made, std::memory_order_acq_rel, std::memory_order_acquire)) return *made;
  made->release();
  return *current;
}

}  // namespace Tessaly::inline v1::detail
