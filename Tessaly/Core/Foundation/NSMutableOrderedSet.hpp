// SPDX-License-Identifier: MIT
// Component: Tessaly::Foundation
#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <utility>
#include <vector>

#include "Tessaly/Core/Foundation/NSOrderedSet.hpp"

namespace Tessaly::inline v1 {

/// A mutable sequence without duplicates: an `NSOrderedSet` that can add, remove and move elements.
///
/// Copying a set takes constant time. Both sets share the elements until an element is added or removed. `moveObjects`
/// and `moveObject` change only the order. If another set shares the order, they first copy it, which takes 4 bytes for
/// each element.
///
/// Thread contract: thread-compatible.
///
///     NSMutableOrderedSet<std::string> rows{"A", "B", "C"};
///     rows.moveObjects({0, 1}, 1);  // C, A, B
template <typename Element = std::shared_ptr<Object>, typename Hash = std::hash<Element>,
          typename Equal = std::equal_to<Element>>
class NSMutableOrderedSet : public NSOrderedSet<Element, Hash, Equal> {
  using Base = NSOrderedSet<Element, Hash, Equal>;

 public:
  using Base::Base;
  NSMutableOrderedSet() noexcept = default;
  explicit NSMutableOrderedSet(const Base& other) noexcept : Base(other) {}

  /// Adds an element at the end. Returns false and does nothing if the set contains an equal element. Amortised O(1),
  /// or O(n) if another set shares the elements.
  bool add(Element element) { return this->insertIfAbsent(std::move(element), this->count()); }
  /// Adds an element at an index. Returns false and does nothing if the set contains an equal element. Throws
  /// `std::out_of_range` if the index is not from 0 to `count()`.
  bool insert(Element element, std::int64_t index) {
    checkIndex(index, this->count());
    return this->insertIfAbsent(std::move(element), index);
  }

  /// Removes the element at an index. Throws `std::out_of_range` if the index is out of range. O(n). The set may
  /// destroy the removed element later: at another removal, at `removeAllObjects()`, or in the destructor of the set.
  void removeObjectAt(std::int64_t index) {
    checkIndex(index, this->count() - 1);
    this->eraseAt(index);
  }
  /// Removes the element that equals `element`. Returns false if the set contains no such element. The set may destroy
  /// the removed element later: at another removal, at `removeAllObjects()`, or in the destructor of the set.
  bool remove(const Element& element) {
    const std::int64_t index = this->index(element);
    if (index == NSNotFound) return false;
    this->eraseAt(index);
    return true;
  }
  void removeAllObjects() noexcept { this->clear(); }

  /// Removes the elements at the indexes, and inserts them as one block, in their order, at `index`. After the move,
  /// `index` is the index of the block's first element. Throws `std::out_of_range` if one of the indexes is out of
  /// range, or if `index` is not from 0 to the number of remaining elements. In both cases the set does not change.
  /// O(n).
  void moveObjects(const std::set<std::int64_t>& indexes, std::int64_t index) {
    if (!indexes.empty()) {
      checkIndex(*indexes.begin(), this->count() - 1);
      checkIndex(*indexes.rbegin(), this->count() - 1);
    }
    const auto moving = static_cast<std::int64_t>(indexes.size());
    checkIndex(index, this->count() - moving);
    if (indexes.empty()) return;

    auto& order = this->modifyOrder();
    std::vector<std::uint32_t> block;
    block.reserve(indexes.size());
    // Each run of remaining elements moves towards the beginning, into the gap before it.
    auto end = order.begin();
    auto read = order.begin();
    for (const std::int64_t taken : indexes) {
      const auto at = order.begin() + taken;
      end = read == end ? at : std::move(read, at, end);
      block.push_back(*at);
      read = at + 1;
    }
    end = std::move(read, order.end(), end);
    const auto place = order.begin() + index;
    std::move_backward(place, end, order.end());
    std::ranges::copy(block, place);
  }

  /// Moves one element. `to` is the element's index after the move. Throws `std::out_of_range` if `from` or `to` is not
  /// the index of an element.
  void moveObject(std::int64_t from, std::int64_t to) {
    checkIndex(from, this->count() - 1);
    checkIndex(to, this->count() - 1);
    auto& order = this->modifyOrder();
    const auto begin = order.begin();
    if (from < to) {
      std::rotate(begin + from, begin + from + 1, begin + to + 1);
    } else {
      std::rotate(begin + to, begin + from, begin + from + 1);
    }
  }

 private:
  void checkIndex(std::int64_t index, std::int64_t last) const {
    if (index < 0 || index > last) [[unlikely]]
      detail::throwOrderedSetIndex(index, last + 1);
  }
};

template <std::ranges::input_range Elements>
NSMutableOrderedSet(Elements&&) -> NSMutableOrderedSet<std::ranges::range_value_t<Elements>>;

}  // namespace Tessaly::inline v1
