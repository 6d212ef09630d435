// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Observation/detail/ComputedObserver.hpp"

#include <climits>

#include "Tessaly/Core/Base/CallNotification.hpp"
#include "Tessaly/Core/Base/ThreadIdentifier.hpp"
#include "Tessaly/Core/Base/detail/Futex.hpp"
#include "Tessaly/Core/Observation/detail/ObservationPoint.hpp"

namespace Tessaly::inline v1::detail {

class ComputedObserver::Link final : public PointObserver {
 public:
  explicit Link(ComputedObserver& observer) : observer_(Retained<ComputedObserver>::sharing(observer)) {}

  using PointObserver::registerWith;

 private:
  ~Link() override = default;
  void notify(const AccessList* accesses) noexcept override { observer_->notify(accesses); }

  const Retained<ComputedObserver> observer_;
};

ComputedObserver::ComputedObserver() = default;
ComputedObserver::~ComputedObserver() = default;

void ComputedObserver::start() {
  const WithoutTracking untracked;
  if (takeTurn(nullptr) != Turn::outermost) return;
  try {
    stepUntilUpToDate(Occasion::start);
  } catch (...) {
    state_.fetch_or(hasEnded, std::memory_order_relaxed);
    finish();
    throw;
  }
}

ComputedObserver::Turn ComputedObserver::takeTurn(const AccessList* accesses) noexcept {
  const std::uint32_t self = currentThreadIdentifier();
  std::uint32_t state = state_.load(std::memory_order_relaxed);
  for (;;) {
    if ((state & hasEnded) != 0) return Turn::none;
    const std::uint32_t thread = state & threadMask;
    if (thread == self && reading_ == nullptr) return Turn::nested;
    // The function has not missed a change that it makes itself.
    if (thread == self && reading_->isIn(accesses)) return Turn::none;
    // The flag is stored again even if it is set, so that the thread that clears it sees the change.
    const std::uint32_t next = thread == 0 ? self : state | hasMissedOne;
    if (state_.compare_exchange_weak(state, next, std::memory_order_acq_rel, std::memory_order_relaxed)) {
      return thread == 0 ? Turn::outermost : Turn::none;
    }
  }
}

void ComputedObserver::notify(const AccessList* accesses) noexcept {
  const Turn turn = takeTurn(accesses);
  if (turn == Turn::none) return;
  const auto steps = [&] {
    turn == Turn::outermost ? stepUntilUpToDate(Occasion::change) : stepOnce(Occasion::change);
  };
  callNotification("The evaluation of an observed property", steps);
}

void ComputedObserver::stepOnce(Occasion occasion) {
  isTracking_ = false;
  step(occasion);
  if (!isTracking_) deregister();
}

void ComputedObserver::stepUntilUpToDate(Occasion occasion) {
  const std::uint32_t self = currentThreadIdentifier();
  for (;; occasion = Occasion::change) {
    stepOnce(occasion);
    std::uint32_t state = self;
    if (state_.compare_exchange_strong(state, 0, std::memory_order_acq_rel, std::memory_order_relaxed)) return;
    if ((state & hasEnded) != 0) return finish();
    state_.fetch_and(~hasMissedOne, std::memory_order_acq_rel);
  }
}

bool ComputedObserver::isRegisteredWith(const AccessList& accesses) const noexcept {
  if (accesses.count() != accesses_.size()) return false;
  for (std::size_t i = 0; i < accesses_.size(); ++i) {
    if (accesses_[i].point != accesses[i].point) return false;
  }
  return true;
}

void ComputedObserver::registerWith(AccessList& accesses) {
  if (isRegisteredWith(accesses)) return;
  const std::size_t count = accesses.count();
  bool hasMissed = false;
  std::vector<Access> read;
  std::vector<Retained<Link>> links;
  read.reserve(count);
  links.reserve(count);
  for (std::size_t i = 0; i < count; ++i) links.push_back(Retained<Link>::adopt(new Link(*this)));
  for (std::size_t i = 0; i < count; ++i) {
    read.push_back(accesses[i]);
    hasMissed |= links[i]->registerWith(accesses[i]);
  }
  accesses.surrender();
  // The old links are cancelled only now, so that no change of a point that is read again is lost.
  deregister();
  accesses_ = std::move(read);
  links_ = std::move(links);
  if (hasMissed) state_.fetch_or(hasMissedOne, std::memory_order_relaxed);
}

void ComputedObserver::deregister() noexcept {
  accesses_.clear();
  for (const auto& link : std::exchange(links_, {})) link->cancel();
}

/// The thread that is in a step calls this after the observer has ended.
void ComputedObserver::finish() noexcept {
  deregister();
  discard();
  const std::uint32_t state = state_.exchange(hasEnded, std::memory_order_acq_rel);
  if ((state & isAwaited) != 0) futexWake(state_, INT_MAX);
}

void ComputedObserver::cancel() noexcept {
  const std::uint32_t self = currentThreadIdentifier();
  std::uint32_t state = state_.load(std::memory_order_relaxed);
  for (;;) {
    if ((state & hasEnded) != 0) return;
    const bool isFree = (state & threadMask) == 0;
    const std::uint32_t next = state | hasEnded | (isFree ? self : 0);
    if (!state_.compare_exchange_weak(state, next, std::memory_order_acq_rel, std::memory_order_relaxed)) continue;
    if (isFree) finish();
    return;
  }
}

void ComputedObserver::stop() noexcept {
  cancel();
  const std::uint32_t self = currentThreadIdentifier();
  for (;;) {
    std::uint32_t state = state_.load(std::memory_order_acquire);
    const std::uint32_t thread = state & threadMask;
    if (thread == 0 || thread == self) return;
    if ((state & isAwaited) != 0 || state_.compare_exchange_strong(state, state | isAwaited)) {
      futexWait(state_, state | isAwaited);
    }
  }
}

}  // namespace Tessaly::inline v1::detail
