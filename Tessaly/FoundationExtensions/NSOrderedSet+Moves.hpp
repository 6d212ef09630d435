// SPDX-License-Identifier: MIT
// Component: Tessaly::FoundationExtensions
#pragma once

#include <cstdint>
#include <set>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Foundation/NSMutableOrderedSet.hpp"

namespace Tessaly::inline v1 {

namespace detail {

/// The number of other items before the block that `movingItems` makes. Throws `MoveError` in the same cases as
/// `movingItems`.
[[nodiscard]] TESSALY_EXPORT std::int64_t destinationOfBlock(std::int64_t count, const std::set<std::int64_t>& indexes,
                                                             std::int64_t destination, bool includeDestinationIndex);
[[noreturn]] TESSALY_EXPORT void throwNothingOnTheLeft();
[[noreturn]] TESSALY_EXPORT void throwNothingOnTheRight();

}  // namespace detail

/// A copy in which the items at the indexes form one block, in their order. A single item with an index before
/// `destination` comes directly before the item at `destination`, or directly after that item with
/// `includeDestinationIndex`. In general, the number of other items before the block is:
///
/// - `destination` minus the number of indexes before `destination`, except in the next case
/// - `destination` minus the number of all indexes (also those after `destination`), if there are several indexes and
///   one of them is directly before `destination`
/// - with `includeDestinationIndex`, one more in either case, if the increased number is less than the count. Nothing
///   is added if there are indexes but none is before `destination`, or if the first of several indexes is directly
///   before `destination`
///
/// Throws `MoveError` if the number of indexes is the count or more, so always for an empty set. Also throws
/// `MoveError` if an index is the count or more, or if the destination is more than the count. The text of the error
/// explains the mistake. Throws `std::out_of_range` for negative indexes, and if the number above is negative or
/// exceeds the number of other items. The number is too large, for example, with the indexes 3 and 4 of five items, the
/// destination 5 and `includeDestinationIndex`.
///
/// Thread contract: thread-safe. O(n). The copy shares the items.
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

/// A copy in which each item at one of the indexes is one position nearer to the start. Neighbours move together.
///
/// Throws `MoveError` if an index is 0 or negative, because no item precedes. Throws `std::out_of_range` if an index is
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

/// A copy in which each item at one of the indexes is one position nearer to the end. Neighbours move together.
///
/// Throws `MoveError` if an index is the count minus 1 or more, because no item follows. Throws `std::out_of_range` for
/// a negative index, except for -1 in an empty set (`MoveError`).
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
