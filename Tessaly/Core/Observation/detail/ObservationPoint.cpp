// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Observation/detail/ObservationPoint.hpp"

#include <pthread.h>

#include <algorithm>

#include "Tessaly/Core/Base/detail/FirstUse.hpp"
#include "Tessaly/Core/Base/detail/ThreadKey.hpp"
#include "Tessaly/Core/Observation/detail/Tracking.hpp"

namespace Tessaly::inline v1::detail {

namespace {

/// The references on one point that a thread keeps, so that a read needs no atomic operation.
struct Stock {
  ObservationPoint* point;
  std::uint32_t count;
  /// Whether the end of the thread releases the references.
  bool endsWithThread;
};
__thread Stock stock [[gnu::tls_model("initial-exec")]] = {};

/// The number of references that a stock adds when only one is left. It is also the maximum of a stock after a call.
constexpr std::uint32_t stockedReferences = 64;

void giveBackStock() noexcept {
  if (ObservationPoint* const point = std::exchange(stock.point, nullptr))
    point->release(std::exchange(stock.count, 0));
}

/// Makes the end of this thread release the stock. The key's value only has to be non-null.
void giveBackStockAtTheEnd() {
  static constinit pthread_key_t key{};
  static constexpr auto makeKey = [] {
    key = makeThreadKey([](void*) {
      stock.endsWithThread = false;
      giveBackStock();
    });
    return &key;
  };
  ::pthread_setspecific(madeOnce<makeKey>(), static_cast<const void*>(&stock));
  stock.endsWithThread = true;
}

}  // namespace

void ObservationPoint::retainForReading() noexcept {
  if (stock.point != this) return retain();
  // One reference stays and keeps the stock's point alive.
  if (stock.count == 1) {
    references_.fetch_add(stockedReferences, std::memory_order_relaxed);
    stock.count += stockedReferences;
  }
  --stock.count;
}

void ObservationPoint::releaseAfterCall(std::uint32_t count) noexcept {
  if (!stock.endsWithThread) [[unlikely]]
    giveBackStockAtTheEnd();
  if (stock.point != this) {
    giveBackStock();
    stock.point = this;
  }
  stock.count += count;
  if (stock.count > stockedReferences) release(stock.count - stockedReferences);
  stock.count = std::min(stock.count, stockedReferences);
}

ObservationPoint::~ObservationPoint() { delete observers_; }

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
    registration.tracking = &tracking;
    insert(registration, isChanging ? List::after : List::before);
  }
  unlock(now);
  return link;
}

bool ObservationPoint::unlink(Registration& registration) noexcept {
  const Version now = word_.lock();
  const bool wasLinked = registration.list != List::none;
  if (wasLinked) erase(registration);
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

void ObservationPoint::callTaken(Registration* taken) noexcept {
  const WithoutTracking untracked;
  // Each registration in a list holds a reference on its tracking. This function now owns these references.
  std::uint32_t givenBack = 0;
  while (taken != nullptr) {
    Tracking& tracking = *taken->tracking;
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
  didChange();  // NOLINT(clang-analyzer-cplusplus.NewDelete): the caller holds a reference.
  if (stock.point == this) giveBackStock();
}

void ObservationPoint::insert(Registration& registration, List list) noexcept {
  Registration*& first = head(list);
  registration.previous = nullptr;
  registration.next = first;
  if (first != nullptr) first->previous = &registration;
  first = &registration;
  registration.list = list;
}

void ObservationPoint::erase(Registration& registration) noexcept {
  if (registration.next != nullptr) registration.next->previous = registration.previous;
  (registration.previous != nullptr ? registration.previous->next : head(registration.list)) = registration.next;
  registration.list = List::none;
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
