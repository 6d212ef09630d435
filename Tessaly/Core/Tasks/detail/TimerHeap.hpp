// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <vector>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Tasks/Clock.hpp"

namespace Tessaly::inline v1::detail {

/// Timers ordered by deadline, in a binary heap. Each timer stores its position, so adding and removing are O(log n).
/// Timers with equal deadlines come in no particular order.
///
/// Thread contract: thread-compatible.
class TimerHeap {
 public:
  /// The timer with the earliest deadline. Null if there is none.
  [[nodiscard]] ClockTimer* first() const noexcept { return timers_.empty() ? nullptr : timers_.front(); }
  TESSALY_EXPORT void add(ClockTimer& timer);
  /// Returns false if the timer is not in the heap.
  TESSALY_EXPORT bool remove(ClockTimer& timer) noexcept;

 private:
  void siftUp(std::size_t position, ClockTimer& timer) noexcept;
  void siftDown(std::size_t position, ClockTimer& timer) noexcept;
  void place(std::size_t position, ClockTimer& timer) noexcept {
    timers_[position] = &timer;
    timer.position = position;
  }

  std::vector<ClockTimer*> timers_;
};

}  // namespace Tessaly::inline v1::detail
