// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>

#include "Tessaly/Collections/detail/Hasher.hpp"

namespace Tessaly::inline v1 {

template <typename Element>
class RingArray;

}  // namespace Tessaly::inline v1

template <typename Element>
  requires requires(const Element& element) { std::hash<Element>()(element); }
struct std::hash<Tessaly::RingArray<Element>> {
  /// The hash of the capacity, of all slots, and of the start and end positions. O(capacity), because the hash includes
  /// the empty slots.
  std::size_t operator()(const Tessaly::RingArray<Element>& ring) const {
    Tessaly::detail::Hasher hasher;
    hasher.feed(ring.maxCapacity_);
    const std::int64_t start = ring.startIndex_.backendIndex;
    for (std::int64_t slot = 0; slot < ring.maxCapacity_; ++slot) {
      const std::int64_t position = slot - start + (slot < start ? ring.maxCapacity_ : 0);
      const bool isOccupied = position < ring.count_;
      hasher.feed(isOccupied);
      if (isOccupied) hasher.feed(ring.storage_->cells()[slot]);
    }
    hasher.feed(start);
    hasher.feed(ring.startIndex_.loopIndex);
    hasher.feed(ring.endIndex().backendIndex);
    hasher.feed(ring.endIndex().loopIndex);
    hasher.feed(ring.count_);
    return hasher.finish();
  }
};
