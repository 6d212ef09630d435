// SPDX-License-Identifier: MIT
#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <iterator>

#include "Tessaly/Core/Base/FatalError.hpp"

namespace Tessaly::inline v1::detail {

/// An iterator over the constant elements of a ring.
///
/// The elements lie in one run of slots, or in two if the ring wraps. Only the iterator at the end of the ring stands
/// at the end of a run. So a loop compares the iterator's slot with the end of the current run. That end stays the same
/// within a run, so the compiler can treat each run as an array.
///
/// Thread contract: thread-compatible.
template <typename Element>
class RingArrayIterator {
 public:
  using iterator_concept = std::random_access_iterator_tag;
  using iterator_category = std::random_access_iterator_tag;
  using value_type = Element;
  using difference_type = std::ptrdiff_t;
  using pointer = const Element*;
  using reference = const Element&;

  constexpr RingArrayIterator() noexcept = default;
  enum class At { begin, end };
  /// An iterator of a ring with `slotCount` slots and `count` elements. The first element is in slot `firstSlot`.
  constexpr RingArrayIterator(const Element* cells, std::int64_t slotCount, std::int64_t firstSlot, std::int64_t count,
                              At at) noexcept
      : slots_(cells) {
    const bool wraps = count > slotCount - firstSlot;
    firstRunEnd_ = cells + (wraps ? slotCount : firstSlot + count);
    lastRunEnd_ = wraps ? cells + (firstSlot + count - slotCount) : firstRunEnd_;
    slot_ = at == At::begin ? cells + firstSlot : lastRunEnd_;
    runEnd_ = at == At::begin ? firstRunEnd_ : lastRunEnd_;
  }

  constexpr reference operator*() const noexcept { return *slot_; }
  constexpr pointer operator->() const noexcept { return slot_; }
  constexpr reference operator[](difference_type distance) const { return *(*this + distance); }

  constexpr RingArrayIterator& operator++() noexcept {
    if (++slot_ == runEnd_ && runEnd_ != lastRunEnd_) [[unlikely]] {
      slot_ = slots_;
      runEnd_ = lastRunEnd_;
    }
    return *this;
  }
  constexpr RingArrayIterator operator++(int) noexcept {
    RingArrayIterator before = *this;
    ++*this;
    return before;
  }
  constexpr RingArrayIterator& operator--() noexcept {
    if (slot_ == slots_ && runEnd_ != firstRunEnd_) [[unlikely]] {
      slot_ = firstRunEnd_;
      runEnd_ = firstRunEnd_;
    }
    --slot_;
    return *this;
  }
  constexpr RingArrayIterator operator--(int) noexcept {
    RingArrayIterator before = *this;
    --*this;
    return before;
  }
  /// Moves the iterator by `distance` elements. O(1). Stops the process if the target overflows, lies before slot 0, or
  /// lies after the end of the ring. The function does not detect a target between slot 0 and the first element.
  constexpr RingArrayIterator& operator+=(difference_type distance) {
    difference_type target = 0;
    if (__builtin_add_overflow(offset(), distance, &target) || target < 0 || target > endOffset()) [[unlikely]] {
      fatalError("An iterator left its ring array", "Tessaly/RingArray", __LINE__);
    }
    moveTo(target);
    return *this;
  }
  constexpr RingArrayIterator& operator-=(difference_type distance) {
    difference_type negated = 0;
    if (__builtin_sub_overflow(difference_type{0}, distance, &negated)) [[unlikely]] {
      fatalError("An iterator left its ring array", "Tessaly/RingArray", __LINE__);
    }
    return *this += negated;
  }
  friend constexpr RingArrayIterator operator+(RingArrayIterator iterator, difference_type distance) {
    return iterator += distance;
  }
  friend constexpr RingArrayIterator operator+(difference_type distance, RingArrayIterator iterator) {
    return iterator += distance;
  }
  friend constexpr RingArrayIterator operator-(RingArrayIterator iterator, difference_type distance) {
    return iterator -= distance;
  }
  friend constexpr difference_type operator-(const RingArrayIterator& left, const RingArrayIterator& right) noexcept {
    return left.offset() - right.offset();
  }

  friend constexpr bool operator==(const RingArrayIterator& left, const RingArrayIterator& right) noexcept {
    if (right.slot_ == right.runEnd_) return left.slot_ == left.runEnd_;
    return left.slot_ == right.slot_ && left.runEnd_ == right.runEnd_;
  }
  friend constexpr std::strong_ordering operator<=>(const RingArrayIterator& left,
                                                    const RingArrayIterator& right) noexcept {
    return left.offset() <=> right.offset();
  }

 private:
  /// The number of slots from slot 0 to this position, as if the last run followed directly after the first run.
  [[nodiscard]] constexpr difference_type offset() const noexcept {
    return slot_ - slots_ + (runEnd_ == firstRunEnd_ ? 0 : firstRunEnd_ - slots_);
  }
  [[nodiscard]] constexpr difference_type endOffset() const noexcept {
    return firstRunEnd_ - slots_ + (lastRunEnd_ == firstRunEnd_ ? 0 : lastRunEnd_ - slots_);
  }
  constexpr void moveTo(difference_type offset) noexcept {
    const difference_type firstRun = firstRunEnd_ - slots_;
    const bool isInLastRun = offset >= firstRun && lastRunEnd_ != firstRunEnd_;
    slot_ = slots_ + (isInLastRun ? offset - firstRun : offset);
    runEnd_ = isInLastRun ? lastRunEnd_ : firstRunEnd_;
  }

  const Element* slot_ = nullptr;
  /// The end of the run that contains `slot_`. At the end of the ring, `slot_` equals this end.
  const Element* runEnd_ = nullptr;
  const Element* slots_ = nullptr;
  const Element* firstRunEnd_ = nullptr;
  const Element* lastRunEnd_ = nullptr;
};

}  // namespace Tessaly::inline v1::detail
