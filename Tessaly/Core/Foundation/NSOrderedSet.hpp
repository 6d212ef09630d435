// SPDX-License-Identifier: MIT
// Component: Tessaly::Foundation
#pragma once

#include <algorithm>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <iterator>
#include <limits>
#include <memory>
#include <optional>
#include <ranges>
#include <string>
#include <utility>
#include <vector>

#include "Tessaly/Core/Base/Error.hpp"
#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Foundation/CopyOnWrite.hpp"
#include "Tessaly/Core/Foundation/Object.hpp"
#include "Tessaly/Core/Foundation/detail/OrderedSetStorage.hpp"

namespace Tessaly::inline v1 {

/// The result of `NSOrderedSet::index` for an element that the set does not contain.
inline constexpr std::int64_t NSNotFound = std::numeric_limits<std::int64_t>::max();

namespace detail {

/// The error of the free move functions in Tessaly/FoundationExtensions/NSOrderedSet+Moves.hpp. The error explains why
/// the function refuses the move. The members `moveObjects` and `moveObject` throw `std::out_of_range` instead. Also
/// named `NSOrderedSet<>::MoveError`.
struct TESSALY_EXPORT OrderedSetMoveError final : Error {
  /// The complete message.
  std::string errorDescription;

  explicit OrderedSetMoveError(std::string errorDescription);
  ~OrderedSetMoveError() override;

  /// `MoveError(errorDescription: "<message>")`.
  [[nodiscard]] std::string description() const override;
  /// `errorDescription`.
  [[nodiscard]] std::string localizedDescription() const override;
  /// "Tessaly.NSOrderedSet.MoveError".
  [[nodiscard]] std::string domain() const override;
  /// Always absent.
  [[nodiscard]] std::optional<std::string> failureReason() const { return std::nullopt; }
  /// Always absent.
  [[nodiscard]] std::optional<std::string> recoverySuggestion() const { return std::nullopt; }
  /// Always absent.
  [[nodiscard]] std::optional<std::string> helpAnchor() const { return std::nullopt; }

  friend bool operator==(const OrderedSetMoveError& left, const OrderedSetMoveError& right) noexcept {
    return left.errorDescription == right.errorDescription;
  }
};

[[noreturn]] TESSALY_EXPORT void throwOrderedSetIndex(std::int64_t index, std::int64_t count);

}  // namespace detail

/// An immutable sequence without duplicates. Its elements have an order, and `contains` uses hashes and takes constant
/// time. `NSMutableOrderedSet` can be changed.
///
/// Copies share their elements. By default the elements are objects, which are compared by identity. The nearest
/// standard facilities are `std::vector`, whose search compares every element, and `std::unordered_set`, which has no
/// order.
///
/// Thread contract: thread-compatible.
///
///     const NSOrderedSet<std::string> rows{"A", "B", "C", "A"};
///     const bool isThere = rows.contains("C") && rows.count() == 3;
template <typename Element = std::shared_ptr<Object>, typename Hash = std::hash<Element>,
          typename Equal = std::equal_to<Element>>
class NSOrderedSet {
  using Members = detail::OrderedSetMembers<Element, Hash, Equal>;
  using Slot = typename Members::Slot;
  using Order = std::vector<Slot>;

 public:
  using MoveError = detail::OrderedSetMoveError;
  using value_type = Element;

  /// An iterator over the elements in their order. Valid until the set is changed or destroyed.
  class Iterator {
   public:
    using iterator_concept = std::random_access_iterator_tag;
    using iterator_category = std::random_access_iterator_tag;
    using value_type = Element;
    using difference_type = std::ptrdiff_t;
    using pointer = const Element*;
    using reference = const Element&;

    Iterator() noexcept = default;

    reference operator*() const noexcept { return (*members_)[*at_]; }
    pointer operator->() const noexcept { return &**this; }
    reference operator[](difference_type offset) const noexcept { return (*members_)[at_[offset]]; }
    Iterator& operator+=(difference_type offset) noexcept {
      at_ += offset;
      return *this;
    }
    Iterator& operator-=(difference_type offset) noexcept { return *this += -offset; }
    Iterator& operator++() noexcept { return *this += 1; }
    Iterator& operator--() noexcept { return *this -= 1; }
    Iterator operator++(int) noexcept {
      const Iterator before = *this;
      ++*this;
      return before;
    }
    Iterator operator--(int) noexcept {
      const Iterator before = *this;
      --*this;
      return before;
    }
    friend Iterator operator+(Iterator iterator, difference_type offset) noexcept { return iterator += offset; }
    friend Iterator operator+(difference_type offset, Iterator iterator) noexcept { return iterator += offset; }
    friend Iterator operator-(Iterator iterator, difference_type offset) noexcept { return iterator -= offset; }
    friend difference_type operator-(const Iterator& left, const Iterator& right) noexcept {
      return left.at_ - right.at_;
    }
    friend bool operator==(const Iterator& left, const Iterator& right) noexcept { return left.at_ == right.at_; }
    friend auto operator<=>(const Iterator& left, const Iterator& right) noexcept { return left.at_ <=> right.at_; }

   private:
    friend class NSOrderedSet;
    Iterator(const Members& members, const Slot* at) noexcept : members_(&members), at_(at) {}

    const Members* members_ = nullptr;
    const Slot* at_ = nullptr;
  };
  using iterator = Iterator;
  using const_iterator = Iterator;

  NSOrderedSet() noexcept = default;
  /// A set of these elements in their order. Of equal elements, the set keeps the first one.
  NSOrderedSet(std::initializer_list<Element> elements) { addAll(elements); }
  template <std::ranges::input_range Elements>
    requires std::convertible_to<std::ranges::range_reference_t<Elements>, Element> &&
             (!std::derived_from<std::remove_cvref_t<Elements>, NSOrderedSet>)
  explicit NSOrderedSet(Elements&& elements) {
    addAll(elements);
  }

  [[nodiscard]] std::int64_t count() const noexcept { return static_cast<std::int64_t>(size()); }
  [[nodiscard]] std::size_t size() const noexcept { return order_.read().size(); }
  [[nodiscard]] bool isEmpty() const noexcept { return order_.read().empty(); }
  [[nodiscard]] bool empty() const noexcept { return isEmpty(); }

  /// The element at an index. Throws `std::out_of_range` if the index is out of range. O(1).
  [[nodiscard]] const Element& object(std::int64_t index) const {
    if (index < 0 || index >= count()) [[unlikely]]
      detail::throwOrderedSetIndex(index, count());
    return (*this)[index];
  }
  /// The element at an index. The index must be in range, because the function does not check it. O(1).
  [[nodiscard]] const Element& operator[](std::int64_t index) const noexcept {
    return members_.read()[order_.read()[static_cast<std::size_t>(index)]];
  }
  /// Whether the set contains an equal element. O(1).
  [[nodiscard]] bool contains(const Element& element) const { return members_.read().find(element).has_value(); }
  /// The index of an equal element, or `NSNotFound`. O(1) if the set does not contain the element, or if elements were
  /// only added at the end. Otherwise at most O(n): the search reads 4 bytes for each element.
  [[nodiscard]] std::int64_t index(const Element& element) const {
    const auto slot = members_.read().find(element);
    if (!slot) return NSNotFound;
    const Order& order = order_.read();
    if (*slot < order.size() && order[*slot] == *slot) return *slot;
    return std::ranges::find(order, *slot) - order.begin();
  }

  [[nodiscard]] Iterator begin() const noexcept { return {members_.read(), order_.read().data()}; }
  [[nodiscard]] Iterator end() const noexcept { return {members_.read(), order_.read().data() + size()}; }

  /// Whether both sets have equal elements in the same order.
  friend bool operator==(const NSOrderedSet& left, const NSOrderedSet& right) {
    return left.members_.isIdentical(right.members_) && left.order_.isIdentical(right.order_)
               ? true
               : std::ranges::equal(left, right, Equal());
  }

 protected:
  /// Adds an element at an index. Returns false and does nothing if the set contains an equal element. The index must
  /// be from 0 to `count()`.
  bool insertIfAbsent(Element element, std::int64_t index) {
    if (contains(element)) return false;
    Order& order = order_.modify();
    if (order.size() == order.capacity()) order.reserve(2 * order.size() + 1);  // `insert` must not throw after `add`.
    const Slot slot = members_.modify().add(std::move(element));
    order.insert(order.begin() + index, slot);
    return true;
  }
  void eraseAt(std::int64_t index) {
    // Compacting comes first, because it may throw.
    if (members_.read().slotCount() > 2 * (size() - 1) + 32) compact();
    Order& order = order_.modify();
    members_.modify().remove(order[static_cast<std::size_t>(index)]);
    order.erase(order.begin() + index);
  }
  [[nodiscard]] Order& modifyOrder() { return order_.modify(); }
  void clear() noexcept {
    members_ = {};
    order_ = {};
  }

 private:
  template <typename Elements>
  void addAll(Elements&& elements) {
    Members members;
    Order order;
    if constexpr (std::ranges::sized_range<Elements>) {
      members.reserve(std::ranges::size(elements));
      order.reserve(std::ranges::size(elements));
    }
    for (auto&& element : elements) {
      if constexpr (std::same_as<std::remove_cvref_t<decltype(element)>, Element>) {
        if (members.find(element)) continue;
        order.push_back(members.add(std::forward<decltype(element)>(element)));
      } else {
        Element converted(std::forward<decltype(element)>(element));
        if (!members.find(converted)) order.push_back(members.add(std::move(converted)));
      }
    }
    members_ = CopyOnWrite<Members>(std::move(members));
    order_ = CopyOnWrite<Order>(std::move(order));
  }
  /// Frees the slots of removed members.
  void compact() {
    NSOrderedSet compacted;
    compacted.addAll(std::ranges::subrange(begin(), end()));
    *this = std::move(compacted);
  }

  CopyOnWrite<Members> members_;
  CopyOnWrite<Order> order_;
};

template <std::ranges::input_range Elements>
NSOrderedSet(Elements&&) -> NSOrderedSet<std::ranges::range_value_t<Elements>>;

}  // namespace Tessaly::inline v1
