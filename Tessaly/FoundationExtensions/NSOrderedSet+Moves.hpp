// SPDX-License-Identifier: MIT
// Component: Tessaly::FoundationExtensions
#pragma once

#include <cstdint>
#include <set>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Foundation/NSMutableOrderedSet.hpp"

namespace Tessaly::inline v1 {

namespace detail {

/// Where a block of items goes, counted without them. Throws `MoveError`.
[[nodiscard]] TESSALY_EXPORT std::int64_t destinationOfBlock(std::int64_t count, const std::set<std::int64_t>& indexes,
                                                             std::int64_t destination, bool includeDestinationIndex);
[[noreturn]] TESSALY_EXPORT void throwNothingOnTheLeft();
[[noreturn]] TESSALY_EXPORT void throwNothingOnTheRight();

}  // namespace detail

/// A copy in which the items at the indexes stand as one block, in their order, before the item that was at
/// `destination`, or at the end if that is the count. With `includeDestinationIndex` they stand after that item, unless
/// it is the last one. Items that end right before the destination stay where they are, one alone excepted.
///
/// Throws `MoveError`, whose text says what is wrong, when all items would move, an index is the count or more, or the
/// destination is more than the count. Throws `std::out_of_range` for negative indexes, and where a block is to stand
/// after the last of the items that stay: that of 3 and 4 of five, included at 5, is one.
///
/// Thread contract: thread-safe. O(n) in the order; the items themselves are shared.
///
///     const NSOrderedSet<std::string> rows{"A", "B", "C", "D", "E"};
///     const auto moved = movingItems(rows, {1, 2}, 3, true);  // A, D, B, C, E
template <typename Element, typename Hash, typename Equal>
[[nodiscard]] NSMutableOrderedSet<Element, Hash, Equal> movingItems(const NSOrderedSet<Element, Hash, Equal>& items,
                                                                    const std::set<std::int64_t>& indexes,
                                                                    std::int64_t destination,
                                                                    bool includeDestinationIndex) {
  const std::int64_t target = detail::destinationOfBlock(items.count(), indexes, destination, includeDestinationIndex);
  NSMutableOrderedSet<Element, Hash, Equal> moved(items);
  moved.moveObjects(indexes, target);
  return moved;
}

/// A copy in which each of the items stands one place nearer to the start. Neighbours travel together.
///
/// Throws `MoveError` when one of them is the first, or has a negative index, and `std::out_of_range` when an index is
/// the count or more.
///
/// Thread contract: thread-safe.
template <typename Element, typename Hash, typename Equal>
[[nodiscard]] NSMutableOrderedSet<Element, Hash, Equal> movingLeftItems(const NSOrderedSet<Element, Hash, Equal>& items,
                                                                        const std::set<std::int64_t>& indexes) {
  NSMutableOrderedSet<Element, Hash, Equal> moved(items);
  for (const std::int64_t index : indexes) {
    if (index < 1) detail::throwNothingOnTheLeft();
    moved.moveObject(index, index - 1);
  }
  return moved;
}

/// A copy in which each of the items stands one place nearer to the end. Neighbours travel together.
///
/// Throws `MoveError` when one of them is the last, or has an index beyond, and `std::out_of_range` when an index is
/// negative.
///
/// Thread contract: thread-safe.
template <typename Element, typename Hash, typename Equal>
[[nodiscard]] NSMutableOrderedSet<Element, Hash, Equal> movingRightItems(
    const NSOrderedSet<Element, Hash, Equal>& items, const std::set<std::int64_t>& indexes) {
  NSMutableOrderedSet<Element, Hash, Equal> moved(items);
  for (auto index = indexes.rbegin(); index != indexes.rend(); ++index) {
    if (*index >= items.count() - 1) detail::throwNothingOnTheRight();
    moved.moveObject(*index, *index + 1);
  }
  return moved;
}

}  // namespace Tessaly::inline v1
