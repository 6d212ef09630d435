// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Testing/ManualClock.hpp"

#include <algorithm>

#include "Tessaly/Core/Base/detail/Futex.hpp"
#include "Tessaly/Core/Tasks/detail/TimerHeap.hpp"

namespace Tessaly::inline v1 {

ManualClock::ManualClock() : timers_(std::make_unique<detail::TimerHeap>()) {}
ManualClock::~ManualClock() = default;

Clock::Instant ManualClock::now() const noexcept {
  UnfairLock::Guard guard(lock_);
  return now_;
}

void ManualClock::add(ClockTimer& timer) {
  {
    UnfairLock::Guard guard(lock_);
    if (timer.deadline() > now_) {
      timers_->add(timer);
      count_.fetch_add(1, std::memory_order_release);
      detail::futexWake(count_, INT32_MAX);
      return;
    }
  }
  timer.fire();
}

bool ManualClock::remove(ClockTimer& timer) noexcept {
  UnfairLock::Guard guard(lock_);
  if (!timers_->remove(timer)) return false;
  count_.fetch_sub(1, std::memory_order_release);
  return true;
}

void ManualClock::advance(std::chrono::nanoseconds duration) {
  const Instant target = std::max(now(), after(duration));
  for (;;) {
    ClockTimer* due = nullptr;
    {
      UnfairLock::Guard guard(lock_);
      due = timers_->first();
      if (due == nullptr || due->deadline() > target) {
        now_ = std::max(now_, target);  // A timer's function may have advanced the clock further.
        return;
      }
      now_ = due->deadline();
      timers_->remove(*due);
      count_.fetch_sub(1, std::memory_order_release);
    }
    due->fire();
  }
}

std::size_t ManualClock::timerCount() const noexcept { return count_.load(std::memory_order_acquire); }

void ManualClock::waitForTimers(std::size_t count) const {
  for (;;) {
    const std::uint32_t seen = count_.load(std::memory_order_acquire);
    if (seen >= count) return;
    detail::futexWait(count_, seen);
  }
}

}  // namespace Tessaly::inline v1
