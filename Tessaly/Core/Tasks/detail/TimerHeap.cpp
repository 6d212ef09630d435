// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Tasks/detail/TimerHeap.hpp"

namespace Tessaly::inline v1::detail {

void TimerHeap::add(ClockTimer& timer) {
  timers_.push_back(&timer);
  siftUp(timers_.size() - 1, timer);
}

bool TimerHeap::remove(ClockTimer& timer) noexcept {
  const std::size_t position = timer.position;
  if (position == ClockTimer::notArmed) return false;
  timer.position = ClockTimer::notArmed;
  ClockTimer* last = timers_.back();
  timers_.pop_back();
  if (last != &timer) {
    siftDown(position, *last);
    siftUp(last->position, *last);
  }
  return true;
}

void TimerHeap::siftUp(std::size_t position, ClockTimer& timer) noexcept {
  while (position > 0) {
    const std::size_t parent = (position - 1) / 2;
    if (timers_[parent]->deadline() <= timer.deadline()) break;
    place(position, *timers_[parent]);
    position = parent;
  }
  place(position, timer);
}

void TimerHeap::siftDown(std::size_t position, ClockTimer& timer) noexcept {
  for (;;) {
    std::size_t child = 2 * position + 1;
    if (child >= timers_.size()) break;
    if (child + 1 < timers_.size() && timers_[child + 1]->deadline() < timers_[child]->deadline()) ++child;
    if (timer.deadline() <= timers_[child]->deadline()) break;
    place(position, *timers_[child]);
    position = child;
  }
  place(position, timer);
}

}  // namespace Tessaly::inline v1::detail
