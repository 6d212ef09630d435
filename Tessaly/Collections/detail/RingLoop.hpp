// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <limits>

#include "Tessaly/Collections/RingArrayIndex.hpp"
#include "Tessaly/Core/Base/FatalError.hpp"

namespace Tessaly::inline v1::detail {

/// The order of the positions in a ring: after the last slot of one loop comes the first slot of the next. Every
/// function stops the process on overflow.
///
/// Thread contract: thread-compatible.
struct RingLoop {
  std::int64_t slotCount;

  [[noreturn]] static void stopOverflow(unsigned line) { fatalError("Arithmetic overflow", "Tessaly/RingArray", line); }
  [[noreturn]] static void stopOutOfRange(unsigned line) {
    fatalError("Index out of range", "Tessaly/RingArray", line);
  }

  static std::int64_t sum(std::int64_t left, std::int64_t right) {
    std::int64_t sum = 0;
    if (__builtin_add_overflow(left, right, &sum)) [[unlikely]]
      stopOverflow(__LINE__);
    return sum;
  }

  /// Stops the process if the slot does not exist.
  void checkSlot(RingArrayIndex index) const {
    if (index.backendIndex < 0 || index.backendIndex >= slotCount) [[unlikely]]
      stopOutOfRange(__LINE__);
  }

  [[nodiscard]] RingArrayIndex after(RingArrayIndex index) const {
    index.backendIndex = sum(index.backendIndex, 1);
    if (index.backendIndex == slotCount) {
      index.backendIndex = 0;
      index.loopIndex = sum(index.loopIndex, 1);
    }
    return index;
  }
  [[nodiscard]] RingArrayIndex before(RingArrayIndex index) const {
    index.backendIndex = sum(index.backendIndex, -1);
    if (index.backendIndex == -1) {
      index.backendIndex = slotCount - 1;
      index.loopIndex = sum(index.loopIndex, -1);
    }
    return index;
  }

  /// The position after `steps` steps. The slot of `index` must exist. O(1).
  [[nodiscard]] RingArrayIndex shifted(RingArrayIndex index, std::int64_t steps) const {
    std::int64_t loops = steps / slotCount;
    index.backendIndex += steps % slotCount;
    if (index.backendIndex >= slotCount) {
      index.backendIndex -= slotCount;
      loops += 1;
    } else if (index.backendIndex < 0) {
      index.backendIndex += slotCount;
      loops -= 1;
    }
    index.loopIndex = sum(index.loopIndex, loops);
    return index;
  }
  /// The start of a full ring after a rotation by `offset`. Stops the process if the new start or end overflows, or if
  /// `offset` is the minimum of its type.
  [[nodiscard]] RingArrayIndex rotated(RingArrayIndex start, std::int64_t offset) const {
    if (offset == std::numeric_limits<std::int64_t>::min()) [[unlikely]]
      stopOverflow(__LINE__);
    const RingArrayIndex next = shifted(start, offset);
    static_cast<void>(sum(next.loopIndex, 1));
    return next;
  }

  [[nodiscard]] std::int64_t distance(RingArrayIndex from, RingArrayIndex to) const {
    std::int64_t loops = 0;
    std::int64_t cells = 0;
    std::int64_t steps = 0;
    if (__builtin_sub_overflow(to.loopIndex, from.loopIndex, &loops) ||
        __builtin_sub_overflow(to.backendIndex, from.backendIndex, &cells) ||
        __builtin_mul_overflow(loops, slotCount, &steps)) [[unlikely]] {
      stopOverflow(__LINE__);
    }
    return sum(steps, cells);
  }
};

}  // namespace Tessaly::inline v1::detail
