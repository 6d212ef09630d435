// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Observation/detail/ObservationPoint.hpp"

#include <pthread.h>

#include "Tessaly/Core/Observation/detail/ChangeFollower.hpp"
#include "Tessaly/Core/Observation/detail/Tracking.hpp"

namespace Tessaly::inline v1::detail {

namespace {

/// The point whose reference this thread keeps, and whether it sees to it that it is given back when the thread ends.
__thread ObservationPoint* keptPoint [[gnu::tls_model("initial-exec")]] = nullptr;
__thread bool givesKeptPointBack [[gnu::tls_model("initial-exec")]] = false;

/// The key's value only has to be non-null.
void giveKeptPointBackAtTheEnd() {
  static const pthread_key_t key = [] {
    pthread_key_t made{};
    ::pthread_key_create(&made, [](void*) {
      givesKeptPointBack = false;
      if (ObservationPoint* const point = std::exchange(keptPoint, nullptr)) point->release();
    });
    return made;
  }();
  ::pthread_setspecific(key, static_cast<const void*>(&keptPoint));
  givesKeptPointBack = true;
}

Registration* firstFollower(Registration* registration) noexcept {
  while (registration != nullptr && registration->list != Registration::List::followers) {
    registration = registration->next;
  }
  return registration;
}

}  // namespace

/// A follower that is to be called, and how.
struct ObservationPoint::FollowersTurn {
  ChangeFollower* follower = nullptr;
  ChangeFollower::Turn turn = ChangeFollower::Turn::none;

  void take() const noexcept {
    if (turn != ChangeFollower::Turn::none) follower->change(turn);
  }
};

void ObservationPoint::retainForReading() noexcept {
  if (keptPoint == this) {
    keptPoint = nullptr;
  } else {
    retain();
  }
}

void ObservationPoint::releaseAfterCall(std::uint32_t count) noexcept {
  if (!givesKeptPointBack) [[unlikely]]
    giveKeptPointBackAtTheEnd();
  if (count > 1) release(count - 1);
  if (ObservationPoint* const point = std::exchange(keptPoint, this)) point->release();
}

ObservationPoint::Link ObservationPoint::link(Registration& registration, Tracking& tracking,
                                              Version version) noexcept {
  const Version now = word_.lock();
  const bool isChanging = VersionWord::isChanging(now);
  Link link = Link::made;
  if (now != version && (!isChanging || hasEnded_)) {
    link = Link::changed;
  } else if (hasEnded_) {
    link = Link::ended;
  } else if (tracking.isFired()) {
    link = Link::fired;
  } else {
    registration.registrant = &tracking;
    insert(registration, isChanging ? List::after : List::before);
  }
  unlock(now);
  return link;
}

bool ObservationPoint::linkFollower(Registration& registration, Version version) noexcept {
  const Version now = word_.lock();
  if (!hasEnded_) insert(registration, List::followers);
  unlock(now);
  // The end of a change that is under way will find it.
  return now == version || VersionWord::isChanging(now);
}

bool ObservationPoint::unlink(Registration& registration) noexcept {
  const Version now = word_.lock();
  const bool wasLinked = registration.list != List::none;
  if (wasLinked) remove(registration);
  unlock(now);
  return wasLinked;
}

void ObservationPoint::callBeforeChange(Version last) noexcept {
  const Version now = VersionWord::atBeginning(last);
  Registration* const taken = takeAll(before_);
  unlock(now);
  if (currentAccessList != nullptr) noteOwnChange(last, now);
  callTaken(taken);
}

void ObservationPoint::callAfterChange(Version last) noexcept {
  const Version now = VersionWord::atEnd(last);
  Registration* const takenBefore = VersionWord::isChanging(last) ? nullptr : takeAll(before_);
  Registration* const takenAfter = takeAll(after_);
  // While it has its turn, a follower stays.
  Registration marker;
  const FollowersTurn first = nextTurn(followers_, marker);
  const bool areMore = marker.list == List::marker;
  if (areMore) retain();
  unlock(now);
  if (currentAccessList != nullptr) noteOwnChange(last, now);
  first.take();
  if (areMore) callFollowersFrom(marker);
  // NOLINTNEXTLINE(clang-analyzer-cplusplus.NewDelete): what was taken holds references.
  callTaken(takenBefore);
  callTaken(takenAfter);
}

ObservationPoint::FollowersTurn ObservationPoint::nextTurn(Registration* from, Registration& marker) noexcept {
  Registration* const next = firstFollower(from);
  if (next == nullptr) return {};
  auto& follower = static_cast<ChangeFollower&>(*next->registrant);
  if (firstFollower(next->next) != nullptr) insert(marker, List::marker, next);
  return {&follower, follower.takeTurn()};
}

void ObservationPoint::callFollowersFrom(Registration& marker) noexcept {
  for (bool areMore = true; areMore;) {
    const Version now = word_.lock();
    Registration* const next = marker.next;
    remove(marker);
    const FollowersTurn turn = nextTurn(next, marker);
    areMore = marker.list == List::marker;
    unlock(now);
    turn.take();
  }
  release();
}

void ObservationPoint::callTaken(Registration* taken) noexcept {
  // What was taken out is held by the reference that its being in the list was worth.
  std::uint32_t givenBack = 0;
  while (taken != nullptr) {
    Tracking& tracking = static_cast<Tracking&>(*taken->registrant);
    taken = taken->next;
    tracking.fireTaken();
    if (tracking.releaseTaken()) ++givenBack;
  }
  if (givenBack > 0) releaseAfterCall(givenBack);
}

void ObservationPoint::end() noexcept {
  const Version last = word_.lock();
  const Version now = VersionWord::atBeginning(last);
  hasEnded_ = true;
  Registration* const taken = takeAll(before_);
  unlock(now);
  if (currentAccessList != nullptr) noteOwnChange(last, now);
  callTaken(taken);
  didChange();  // NOLINT(clang-analyzer-cplusplus.NewDelete): who ends it holds a reference.
  if (keptPoint == this) {
    keptPoint = nullptr;
    release();
  }
}

void ObservationPoint::insert(Registration& registration, List list, Registration* previous) noexcept {
  Registration*& link = previous != nullptr ? previous->next : head(list);
  registration.previous = previous;
  registration.next = link;
  if (link != nullptr) link->previous = &registration;
  link = &registration;
  registration.list = list;
}

void ObservationPoint::remove(Registration& registration) noexcept {
  if (registration.next != nullptr) registration.next->previous = registration.previous;
  (registration.previous != nullptr ? registration.previous->next : head(registration.list)) = registration.next;
  registration.list = List::none;
}

Registration* ObservationPoint::takeAll(Registration*& head) noexcept {
  for (Registration* each = head; each != nullptr; each = each->next) each->list = List::none;
  return std::exchange(head, nullptr);
}

Registration*& ObservationPoint::head(List list) noexcept {
  return list == List::before ? before_ : list == List::after ? after_ : followers_;
}

void ObservationPoint::unlock(Version version) noexcept {
  word_.unlock(version, (before_ != nullptr ? VersionWord::before : VersionWord::noList) |
                            (after_ != nullptr ? VersionWord::after : VersionWord::noList) |
                            (followers_ != nullptr ? VersionWord::followers : VersionWord::noList));
}

void ObservationPoint::noteOwnChange(Version before, Version after) noexcept {
  currentAccessList->noteOwnChange(*this, before, after);
}

ObservationPoint& LazyObservationPoint::makeSlowly() const {
  auto* made = new ObservationPoint;
  ObservationPoint* current = nullptr;
  if (point_.compare_exchange_strong(current, made, std::memory_order_acq_rel, std::memory_order_acquire)) return *made;
  made->release();
  return *current;
}

}  // namespace Tessaly::inline v1::detail
