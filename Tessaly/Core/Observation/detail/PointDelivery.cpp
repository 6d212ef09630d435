// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Base/ThreadIdentifier.hpp"
#include "Tessaly/Core/Base/detail/Futex.hpp"
#include "Tessaly/Core/Observation/detail/AsymmetricFence.hpp"
#include "Tessaly/Core/Observation/detail/ObservationPoint.hpp"

namespace Tessaly::inline v1::detail {

[[gnu::always_inline]] inline void ObservationPoint::endTurn(ObserverList& list) noexcept {
  const Version now = word_.lock();
  PointObserver* left = list.endTurn();
  unlock(now);
  while (left != nullptr) {
    PointObserver* const observer = left;
    left = left->next_;
    observer->release();
  }
}

bool ObservationPoint::add(PointObserver& observer, Version version) noexcept {
  const Version now = word_.lock();
  addLocked(observer);
  unlock(now);
  // A running change calls the observer at its end.
  return now != version && !VersionWord::isChanging(now);
}

void ObservationPoint::addAndCall(PointObserver& observer) noexcept {
  const Version now = word_.lock();
  addLocked(observer);
  callLocked(observer, now);
}

void ObservationPoint::call(PointObserver& observer) noexcept { callLocked(observer, word_.lock()); }

void ObservationPoint::addLocked(PointObserver& observer) {
  if (observers_ == nullptr) observers_ = new ObserverList;
  observers_->add(observer);
}

void ObservationPoint::callLocked(PointObserver& observer, Version now) noexcept {
  const std::uint32_t self = currentThreadIdentifier();
  ObserverList& list = *observers_;
  static_cast<void>(list.beginTurn(self));
  list.share(self);
  unlock(now);
  {
    const WithoutTracking untracked;
    notifyShared(list, observer, untracked.list());
  }
  endTurn(list);
}

bool ObservationPoint::remove(PointObserver& observer) noexcept {
  const Version now = word_.lock();
  ObserverList& list = *observers_;
  const bool isFirst = !std::exchange(observer.hasEnded_, true);
  if (!list.hasTurns()) {
    if (isFirst) list.remove(observer);
    unlock(now);
    if (isFirst) {
      observer.discard();
      observer.release();
    }
    return false;
  }
  const std::uint32_t self = currentThreadIdentifier();
  list.share(self);
  list.removeLater();
  const std::uint32_t caller = list.callerOf(observer);
  if (isFirst && caller != 0) {
    observer.discardIsDue_ = true;
    observer.discarding_.store(PointObserver::due, std::memory_order_relaxed);
  }
  unlock(now);
  if (isFirst && caller == 0) observer.discard();
  return caller != 0 && caller != self;
}

void ObservationPoint::callAfterChange(Version last) noexcept {
  const Version now = VersionWord::atEnd(last);
  Registration* const takenBefore = VersionWord::isChanging(last) ? nullptr : takeAll(before_);
  Registration* const takenAfter = takeAll(after_);
  ObserverList::Turn turn;
  // During a turn the observers stay, and so does the point.
  if (observers_ != nullptr && !observers_->isEmpty()) turn = observers_->beginTurn(currentThreadIdentifier());
  unlock(now);
  if (currentAccessList != nullptr) noteOwnChange(last, now);
  if (turn.list != nullptr) notify(turn);
  // NOLINTNEXTLINE(clang-analyzer-cplusplus.NewDelete): a registration that was taken out holds a reference.
  if (takenBefore != nullptr) callTaken(takenBefore);
  if (takenAfter != nullptr) callTaken(takenAfter);
}

void ObservationPoint::notify(const ObserverList::Turn& turn) noexcept {
  const WithoutTracking untracked;
  const AccessList* const accesses = untracked.list();
  std::uint32_t called = 0;
  if (!turn.isShared) {
    called = turn.isAsymmetric ? notifyAlone<true>(turn, accesses) : notifyAlone<false>(turn, accesses);
  }
  for (; called < turn.count; ++called) {
    if (PointObserver* const observer = turn.places[called]) notifyShared(*turn.list, *observer, accesses);
  }
  endTurn(*turn.list);
}

template <bool isAsymmetric>
std::uint32_t ObservationPoint::notifyAlone(const ObserverList::Turn& turn, const AccessList* accesses) noexcept {
  const ObserverList& list = *turn.list;
  for (std::uint32_t i = 0; i < turn.count; ++i) {
    PointObserver* const observer = turn.places[i];
    if (observer == nullptr) continue;
    const bool wasCalled = observer->isCalled_.load(std::memory_order_relaxed);
    AsymmetricFence::publish<isAsymmetric>(observer->isCalled_, true);
    const bool isShared = list.isShared();
    if (!isShared) [[likely]]
      observer->notify(accesses);
    AsymmetricFence::publish<isAsymmetric>(observer->isCalled_, wasCalled);
    if (isShared) [[unlikely]]
      return i;
    if (list.isShared()) [[unlikely]] {
      if (settle(*turn.list, *observer)) notifyShared(*turn.list, *observer, accesses);
      return i + 1;
    }
  }
  return turn.count;
}

void ObservationPoint::notifyShared(ObserverList& list, PointObserver& observer, const AccessList* accesses) noexcept {
  const std::uint32_t self = currentThreadIdentifier();
  do {
    const Version now = word_.lock();
    const std::uint32_t caller = list.callerOf(observer);
    const bool isTaken = caller != 0 && caller != self;
    const bool isCalled = !isTaken && !observer.hasEnded_;
    // The call of the other thread may have begun before this change.
    if (caller != self) observer.hasMissedOne_ = isTaken;
    const std::uint32_t before = observer.caller_;
    if (isCalled) observer.caller_ = self;
    unlock(now);
    if (isTaken) return;
    if (isCalled) {
      observer.notify(accesses);
      const Version then = word_.lock();
      observer.caller_ = before;
      unlock(then);
    }
  } while (settle(list, observer));
}

bool ObservationPoint::settle(ObserverList& list, PointObserver& observer) noexcept {
  const Version now = word_.lock();
  // If a call of the observer is still running, that call completes the delivery.
  const bool isOver = list.callerOf(observer) == 0;
  const bool discards = isOver && std::exchange(observer.discardIsDue_, false);
  const bool repeats = isOver && !observer.hasEnded_ && std::exchange(observer.hasMissedOne_, false);
  unlock(now);
  if (discards) discard(observer);
  return repeats;
}

void ObservationPoint::discard(PointObserver& observer) noexcept {
  observer.discard();
  const std::uint32_t state = observer.discarding_.exchange(PointObserver::settled, std::memory_order_acq_rel);
  if (state == PointObserver::awaited) futexWake(observer.discarding_, 1);
}

}  // namespace Tessaly::inline v1::detail
