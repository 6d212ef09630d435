// SPDX-License-Identifier: MIT
// Component: Tessaly::Collections
#pragma once

#include <algorithm>
#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <ostream>
#include <span>
#include <string>
#include <type_traits>
#include <utility>

#include "Tessaly/Collections/RingArrayIndex.hpp"
#include "Tessaly/Collections/detail/Description.hpp"
#include "Tessaly/Collections/detail/RingArrayHash.hpp"
#include "Tessaly/Collections/detail/RingArrayIterator.hpp"
#include "Tessaly/Collections/detail/RingLoop.hpp"
#include "Tessaly/Collections/detail/RingSlots.hpp"
#include "Tessaly/Collections/detail/SharingMark.hpp"
#include "Tessaly/Collections/detail/SlotStorage.hpp"
#include "Tessaly/Core/Base/FatalError.hpp"

namespace Tessaly::inline v1 {

/// A double-ended ring with a fixed capacity. Appending to a full ring drops and returns the first element; prepending
/// drops and returns the last.
///
/// A ring is a random-access range of constant elements. A position is an integer, counted from the first element, or
/// an `Index`. An `Index` also counts the wraps of the ring, so it means the same element until that element is removed
/// or `shiftWhenFull` is called. `set` and `modify` change an element. There are no mutable references: copies share
/// their slots until one copy is changed, so a write through a reference would change all copies. References and
/// iterators are valid until the next change.
///
/// Trivially copyable elements of at most 16 bytes are stored twice. The second copy of an element lies `maxCapacity()`
/// slots after the first copy. So even the elements of a ring that wraps are contiguous. A ring of such elements is a
/// contiguous range, and `std::span(ring)` gives all elements as an array without a copy.
///
/// **Equality and hash depend on the slots**. Two rings are equal if they have the same capacity, the same
/// `startIndex`, and the same elements in the same slots. Rings with the same elements but different wraps are not
/// equal. To compare only the elements, use `std::ranges::equal`.
///
/// The nearest facility is `boost::circular_buffer`. Copying such a buffer copies its elements at once. The buffer does
/// not return the elements that it overwrites. Prefer `FIFOStack` or `std::deque` if the length has no bound.
///
/// These mistakes stop the process: a negative capacity, a position outside the ring, an overflow of a position or
/// distance, and `shiftWhenFull` without a full ring.
///
/// Thread contract: thread-compatible; copies may be used in different threads.
///
///     RingArray<int> history(3);
///     for (int reading : {1, 2, 3}) history.append(reading);
///     std::optional<int> dropped = history.append(4);  // 1, and the ring reads [2, 3, 4].
///     int latest = history[history.count() - 1];
template <typename Element>
class RingArray {
  static_assert(std::is_object_v<Element> && std::same_as<Element, std::remove_cv_t<Element>>);
  static_assert(std::move_constructible<Element>);
  static_assert(std::is_nothrow_move_constructible_v<Element> || std::is_move_assignable_v<Element>,
                "an element whose move may throw must be assignable, so that a failure leaves no empty slot");

  using Storage = detail::SlotStorage<Element>;
  static constexpr bool isCopyable = std::copy_constructible<Element>;
  using Slots = detail::RingSlots<Element>;
  static constexpr bool hasTwins = Slots::haveTwins;
  /// Large trivially copyable elements are passed by reference, so that adding an element makes one copy, not two. The
  /// reference may refer to the replaced slot, so a slot whose element cannot be assigned needs a copy.
  using Parameter = std::conditional_t<std::is_trivially_copyable_v<Element> && std::is_copy_assignable_v<Element> &&
                                           (sizeof(Element) > 16),
                                       const Element&, Element>;

 public:
  using Index = RingArrayIndex;
  using value_type = Element;
  using const_iterator = std::conditional_t<hasTwins, const Element*, detail::RingArrayIterator<Element>>;
  using iterator = const_iterator;

  /// An empty ring with `maxCapacity` slots. Allocates the slots. Later, only `removeAllAndSetCapacity` and the first
  /// change of shared slots allocate slots. Throws `std::bad_alloc`. Stops the process if the capacity is negative.
  explicit RingArray(std::int64_t maxCapacity) : maxCapacity_(checkedCapacity(maxCapacity)) {
    if (maxCapacity > 0) {
      storage_ = makeSlots(maxCapacity);
    } else {
      mark_.set();
    }
  }
  /// A ring without slots: it is both empty and full.
  [[nodiscard]] static RingArray empty() noexcept { return RingArray(NoSlots{}); }

  /// Shares the slots. O(1).
  RingArray(const RingArray& other) noexcept
    requires isCopyable
      : maxCapacity_(other.maxCapacity_),
        storage_(other.storage_),
        startIndex_(other.startIndex_),
        count_(other.count_) {
    mark_.set();
    if (storage_ == nullptr) return;
    storage_->references().retain();
    other.mark_.set();
  }
  /// Takes the slots. The other ring has no slots afterwards.
  RingArray(RingArray&& other) noexcept : RingArray(NoSlots{}) { swap(other); }
  RingArray& operator=(const RingArray& other) noexcept
    requires isCopyable
  {
    RingArray copy(other);
    swap(copy);
    return *this;
  }
  RingArray& operator=(RingArray&& other) noexcept {
    RingArray moved(std::move(other));
    swap(moved);
    return *this;
  }
  ~RingArray() { releaseSlots(); }

  void swap(RingArray& other) noexcept {
    std::swap(maxCapacity_, other.maxCapacity_);
    std::swap(storage_, other.storage_);
    std::swap(startIndex_, other.startIndex_);
    std::swap(count_, other.count_);
    std::swap(mark_, other.mark_);
  }
  friend void swap(RingArray& left, RingArray& right) noexcept { left.swap(right); }

  /// The number of slots.
  [[nodiscard]] std::int64_t maxCapacity() const noexcept { return maxCapacity_; }
  /// The position of the first element.
  [[nodiscard]] Index startIndex() const noexcept { return startIndex_; }
  /// The position after the last element.
  [[nodiscard]] Index endIndex() const noexcept {
    Index end{startIndex_.backendIndex + count_, startIndex_.loopIndex};
    if (end.backendIndex >= maxCapacity_ && count_ > 0) {
      end.backendIndex -= maxCapacity_;
      end.loopIndex += 1;  // The functions that move a position ensure that this does not overflow.
    }
    return end;
  }
  [[nodiscard]] std::int64_t count() const noexcept { return count_; }
  [[nodiscard]] bool isEmpty() const noexcept { return count_ == 0; }
  /// Whether every slot is occupied. A ring without slots is full.
  [[nodiscard]] bool isFull() const noexcept { return count_ == maxCapacity_; }

  /// Adds an element after the last. If the ring was full, drops the first and returns it. Does nothing to a ring
  /// without slots. O(1), or O(n) while the slots are shared.
  std::optional<Element> append(Parameter element) {
    if (mark_.isSet()) [[unlikely]]
      return appendToMarked(std::forward<Parameter>(element));
    return appendToSlots(std::forward<Parameter>(element));
  }

  /// Adds an element before the first. If the ring was full, drops the last and returns it. Does nothing to a ring
  /// without slots. O(1), or O(n) while the slots are shared.
  std::optional<Element> prepend(Parameter element) {
    if (mark_.isSet()) [[unlikely]]
      return prependToMarked(std::forward<Parameter>(element));
    return prependToSlots(std::forward<Parameter>(element));
  }

  /// Removes and returns the first element. Returns nothing if the ring is empty. O(1), or O(n) while the slots are
  /// shared.
  std::optional<Element> popFirst() {
    if (count_ == 0) return std::nullopt;
    makeUnshared();
    const Index next = indexAfter(startIndex_);
    Element& slot = slotAt(startIndex_);
    std::optional<Element> first(std::move(slot));
    startIndex_ = next;
    --count_;
    std::destroy_at(&slot);
    return first;
  }

  /// Removes and returns the last element. Returns nothing if the ring is empty. O(1), or O(n) while the slots are
  /// shared.
  std::optional<Element> popLast() {
    if (count_ == 0) return std::nullopt;
    makeUnshared();
    Element& slot = slotAt(indexBefore(endIndex()));
    std::optional<Element> last(std::move(slot));
    --count_;
    std::destroy_at(&slot);
    return last;
  }

  /// Appends the element `maxCapacity()` times.
  void fill(const Element& element)
    requires isCopyable
  {
    const Element kept(element);
    for (std::int64_t i = 0; i < maxCapacity_; ++i) append(kept);
  }

  /// Removes all elements, from the last to the first. The ring keeps its capacity and its `startIndex`. A non-empty
  /// ring that shares its slots with a copy gets new slots.
  void removeAll() {
    if (count_ > 0 && !isUnshared()) {
      Storage* cells = makeSlots(maxCapacity_);
      releaseSlots();
      storage_ = cells;
      count_ = 0;
    }
    for (std::int64_t left = count_; left > 0; --left) popLast();
  }

  /// Removes all elements, replaces the slots by `newCapacity` new slots, and sets `startIndex` and `endIndex` to (0,
  /// 0). Throws `std::bad_alloc`. Stops the process if the capacity is negative.
  void removeAllAndSetCapacity(std::int64_t newCapacity) {
    RingArray emptied(newCapacity);
    swap(emptied);
  }

  /// Rotates the ring so that the element at position `offset` becomes the first element. A negative offset counts
  /// backwards from the end: -1 is the last element. A larger offset wraps around the ring. Moves no element in memory,
  /// but may change the `Index` of an element. Does nothing to a ring without slots. O(1).
  ///
  /// Stops the process if the ring is not full, and on overflow of a position.
  void shiftWhenFull(std::int64_t offset) {
    if (count_ != maxCapacity_) [[unlikely]] {
      fatalError("Ring array shifting may only be triggered when the array is full", "Tessaly/RingArray",
                 shiftingWhileNotFullLine);
    }
    if (maxCapacity_ == 0) return;
    startIndex_ = loop().rotated(startIndex_, offset);
  }

  /// Returns the element at `index`, which must be at or after `startIndex` and before `endIndex`. O(1). Stops the
  /// process for any other position.
  [[nodiscard]] const Element& operator[](Index index) const {
    checkIndex(index);
    return slotAt(index);
  }
  /// Returns the element at `position`. The first element is at position 0. O(1). Stops the process if the element does
  /// not exist.
  [[nodiscard]] const Element& operator[](std::int64_t position) const { return (*this)[indexOf(position)]; }

  /// Replaces an element. O(1), or O(n) while the slots are shared. Stops the process if the element does not exist.
  void set(Index index, Parameter element) {
    checkIndex(index);
    if (isUnshared()) [[likely]] {
      Slots::replace(slotAt(index), maxCapacity_, std::forward<Parameter>(element));
    } else {
      Element kept(std::forward<Parameter>(element));
      makeUnshared();
      Slots::replace(slotAt(index), maxCapacity_, std::move(kept));
    }
  }
  void set(std::int64_t position, Parameter element) { set(indexOf(position), std::forward<Parameter>(element)); }

  /// Calls the body with the element, which the body may change, and returns the body's result. An exception of the
  /// body reaches the caller, and the element keeps its changes. The body must not use the ring. O(1), or O(n) while
  /// the slots are shared. Stops the process if the element does not exist.
  template <std::invocable<Element&> Body>
  auto modify(Index index, Body&& body) -> std::invoke_result_t<Body, Element&> {
    static_assert(!std::is_reference_v<std::invoke_result_t<Body, Element&>>,
                  "the body must not hand the element out by reference: it would write through to copies");
    checkIndex(index);
    makeUnshared();
    const typename Slots::Update update(slotAt(index), maxCapacity_);
    return std::invoke(std::forward<Body>(body), slotAt(index));
  }
  template <std::invocable<Element&> Body>
  auto modify(std::int64_t position, Body&& body) -> std::invoke_result_t<Body, Element&> {
    return modify(indexOf(position), std::forward<Body>(body));
  }

  /// The position after `index`. After the last slot comes slot 0, with a `loopIndex` that is higher by one. Stops the
  /// process on overflow.
  [[nodiscard]] Index indexAfter(Index index) const { return loop().after(index); }
  /// The position before `index`. Before slot 0 comes the last slot, with a `loopIndex` that is lower by one. Stops the
  /// process on overflow.
  [[nodiscard]] Index indexBefore(Index index) const { return loop().before(index); }
  /// The position `distance` steps after `index`, or before it if `distance` is negative. O(1). Stops the process on
  /// overflow, and if the slot of `index` does not exist. If `distance` is 0, returns `index` unchanged, even if its
  /// slot does not exist.
  [[nodiscard]] Index indexOffsetBy(Index index, std::int64_t distance) const {
    if (distance == 0) return index;
    loop().checkSlot(index);
    return loop().shifted(index, distance);
  }
  /// The number of steps from one position to another. O(1). Stops the process on overflow.
  [[nodiscard]] std::int64_t distance(Index from, Index to) const { return loop().distance(from, to); }

  [[nodiscard]] const_iterator begin() const noexcept {
    if constexpr (hasTwins) {
      return storage_ == nullptr ? nullptr : storage_->cells() + startIndex_.backendIndex;
    } else {
      return iteratorAt(const_iterator::At::begin);
    }
  }
  [[nodiscard]] const_iterator end() const noexcept {
    if constexpr (hasTwins) {
      return begin() + count_;
    } else {
      return iteratorAt(const_iterator::At::end);
    }
  }

  /// The elements in order as two arrays, for functions that take an array. The second array is empty unless the
  /// elements wrap around the end of the slots. The second array is always empty if the ring is a contiguous range. The
  /// arrays are valid until the next change. O(1).
  [[nodiscard]] std::array<std::span<const Element>, 2> contiguousRuns() const noexcept {
    if (count_ == 0) return {};
    if constexpr (hasTwins) return {std::span(begin(), end())};
    const Element* const cells = storage_->cells();
    const std::int64_t first = countUntilWrap();
    return {std::span(cells + startIndex_.backendIndex, static_cast<std::size_t>(first)),
            std::span(cells, static_cast<std::size_t>(count_ - first))};
  }

  /// The descriptions of all elements as one string, such as `[1, 2]`.
  [[nodiscard]] std::string description() const
    requires detail::DescribableElement<Element>
  {
    return detail::describeAll(*this);
  }
  /// The debug descriptions of all elements as one string, such as `["a", "b"]`.
  [[nodiscard]] std::string debugDescription() const
    requires detail::HasDebugDescription<Element> || detail::DescribableElement<Element>
  {
    return detail::debugDescribeAll(*this);
  }

  /// Whether the capacities, the start positions, the end positions and the elements are equal.
  friend bool operator==(const RingArray& left, const RingArray& right)
    requires std::equality_comparable<Element>
  {
    // With equal capacities, equal positions mean equal slots.
    if (left.maxCapacity_ != right.maxCapacity_ || left.startIndex_ != right.startIndex_ ||
        left.count_ != right.count_) {
      return false;
    }
    return std::equal(left.begin(), left.end(), right.begin(), right.end());
  }

 private:
  friend struct std::hash<RingArray>;

  /// Frozen: crash reports are grouped by this line number.
  static constexpr unsigned shiftingWhileNotFullLine = 62;

  struct NoSlots {};
  explicit RingArray(NoSlots) noexcept { mark_.set(); }

  [[nodiscard]] detail::RingLoop loop() const noexcept { return {maxCapacity_}; }
  static Storage* makeSlots(std::int64_t capacity) {
    return Storage::make(static_cast<std::uint64_t>(capacity) * (hasTwins ? 2 : 1));
  }
  static std::int64_t checkedCapacity(std::int64_t capacity) {
    if (capacity < 0) [[unlikely]]
      fatalError("The capacity of a ring array must not be negative", "Tessaly/RingArray", __LINE__);
    return capacity;
  }
  void checkIndex(Index index) const {
    if (index < startIndex_ || index >= endIndex()) [[unlikely]]
      detail::RingLoop::stopOutOfRange(__LINE__);
    loop().checkSlot(index);
  }
  [[nodiscard]] Index indexOf(std::int64_t position) const {
    Index index{detail::RingLoop::sum(startIndex_.backendIndex, position), startIndex_.loopIndex};
    if (index.backendIndex >= maxCapacity_) {
      index.backendIndex -= maxCapacity_;
      index.loopIndex = detail::RingLoop::sum(index.loopIndex, 1);
    }
    return index;
  }
  [[nodiscard]] std::int64_t countUntilWrap() const noexcept {
    return std::min(count_, maxCapacity_ - startIndex_.backendIndex);
  }
  [[nodiscard]] Element& slotAt(Index index) const noexcept { return storage_->cells()[index.backendIndex]; }
  [[nodiscard]] auto iteratorAt(detail::RingArrayIterator<Element>::At at) const noexcept {
    return detail::RingArrayIterator<Element>(storage_ == nullptr ? nullptr : storage_->cells(), maxCapacity_,
                                              startIndex_.backendIndex, count_, at);
  }

  [[nodiscard]] bool isUnshared() noexcept { return !mark_.isSet() || areSharersGone(); }
  [[nodiscard, gnu::noinline]] bool areSharersGone() noexcept {
    if (storage_ == nullptr || !storage_->references().isOne()) return false;
    mark_.clear();
    return true;
  }
  void makeUnshared() {
    if constexpr (isCopyable) {
      if (!isUnshared()) [[unlikely]] {
        RingArray copy = withSlotsOfItsOwn();
        swap(copy);
      }
    }
  }
  [[nodiscard]] RingArray withSlotsOfItsOwn() const
    requires isCopyable
  {
    RingArray copy(maxCapacity_);
    copy.startIndex_ = startIndex_;
    for (const Element& element : *this) {  // If copying an element throws, the incomplete ring is destroyed.
      Slots::construct(copy.slotAt(copy.endIndex()), maxCapacity_, element);
      ++copy.count_;
    }
    return copy;
  }

  // Appends to slots that may be shared. The parameter may refer to an element in those slots, and `makeUnshared` may
  // free them. So the function first moves or copies the element.
  [[gnu::noinline]] std::optional<Element> appendToMarked(Parameter element) {
    if (maxCapacity_ < 1) return std::nullopt;
    Element kept(std::forward<Parameter>(element));
    makeUnshared();
    return appendToSlots(std::move(kept));
  }
  [[gnu::noinline]] std::optional<Element> prependToMarked(Parameter element) {
    if (maxCapacity_ < 1) return std::nullopt;
    Element kept(std::forward<Parameter>(element));
    makeUnshared();
    return prependToSlots(std::move(kept));
  }

  template <typename Value>
  [[gnu::always_inline]] std::optional<Element> appendToSlots(Value&& element) {
    if (count_ == maxCapacity_) {
      // The start and the end of a full ring are the same slot, one loop apart. The new end must not overflow either.
      Index next{startIndex_.backendIndex + 1, startIndex_.loopIndex};
      if (next.backendIndex == maxCapacity_) {
        next = {0, detail::RingLoop::sum(next.loopIndex, 2) - 1};
      }
      std::optional<Element> dropped(std::move(slotAt(startIndex_)));
      Slots::replace(slotAt(startIndex_), maxCapacity_, std::forward<Value>(element));
      startIndex_ = next;
      return dropped;
    }
    const Index end = endIndex();
    static_cast<void>(indexAfter(end));
    Slots::construct(slotAt(end), maxCapacity_, std::forward<Value>(element));
    ++count_;
    return std::nullopt;
  }
  template <typename Value>
  [[gnu::always_inline]] std::optional<Element> prependToSlots(Value&& element) {
    const Index nextStart = indexBefore(startIndex_);
    if (count_ == maxCapacity_) {
      std::optional<Element> dropped(std::move(slotAt(nextStart)));
      Slots::replace(slotAt(nextStart), maxCapacity_, std::forward<Value>(element));
      startIndex_ = nextStart;
      return dropped;
    }
    Slots::construct(slotAt(nextStart), maxCapacity_, std::forward<Value>(element));
    startIndex_ = nextStart;
    ++count_;
    return std::nullopt;
  }

  void releaseSlots() noexcept {
    if (storage_ == nullptr || !storage_->references().release()) return;
    Element* const cells = storage_->cells();
    const std::int64_t first = countUntilWrap();
    std::destroy_n(cells + startIndex_.backendIndex, first);
    std::destroy_n(cells, count_ - first);
    Storage::free(storage_);
  }

  std::int64_t maxCapacity_ = 0;
  /// Null for a ring without slots.
  Storage* storage_ = nullptr;
  Index startIndex_;
  std::int64_t count_ = 0;
  /// The mark is also set in a ring without slots, so one test detects both shared and missing slots when an element is
  /// added.
  detail::SharingMark mark_;
};

/// Writes `description()`.
template <typename Element>
  requires detail::DescribableElement<Element>
std::ostream& operator<<(std::ostream& stream, const RingArray<Element>& ring) {
  return stream << ring.description();
}

}  // namespace Tessaly::inline v1
