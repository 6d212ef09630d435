// SPDX-License-Identifier: MIT
// Component: Tessaly::Collections
#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>

#include "Tessaly/Collections/detail/Hasher.hpp"
#include "Tessaly/Core/Base/Requirements.hpp"

namespace Tessaly::inline v1 {

/// A position in a `RingArray`: a slot, and the number of wraps of the ring before this position. Unlike slot numbers,
/// positions stay ordered across a wrap.
///
/// Known as `RingArray<Element>::Index`.
///
/// Thread contract: thread-compatible.
///
///     RingArrayIndex last{2, 0};
///     RingArrayIndex next{0, 1};  // One further in a ring of three slots: last < next.
struct RingArrayIndex {
  /// The number of the slot.
  std::int64_t backendIndex = 0;
  /// The number of wraps. Negative if elements were prepended across the first slot.
  std::int64_t loopIndex = 0;

  friend constexpr bool operator==(const RingArrayIndex&, const RingArrayIndex&) noexcept = default;
  /// Compares `loopIndex`, then `backendIndex`.
  friend constexpr std::strong_ordering operator<=>(const RingArrayIndex& left, const RingArrayIndex& right) noexcept {
    if (left.loopIndex != right.loopIndex) return left.loopIndex <=> right.loopIndex;
    return left.backendIndex <=> right.backendIndex;
  }
};

}  // namespace Tessaly::inline v1

template <>
struct std::hash<Tessaly::RingArrayIndex> {
  std::size_t operator()(const Tessaly::RingArrayIndex& index) const noexcept {
    Tessaly::detail::Hasher hasher;
    hasher.feed(index.backendIndex);
    hasher.feed(index.loopIndex);
    return hasher.finish();
  }
};
