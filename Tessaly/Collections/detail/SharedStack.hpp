// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <type_traits>
#include <utility>

#include "Tessaly/Collections/detail/SharingMark.hpp"
#include "Tessaly/Collections/detail/SlotStorage.hpp"

namespace Tessaly::inline v1::detail {

/// A growable stack on contiguous memory. Copies share the memory until one of them is changed.
///
/// Adding or removing an element costs a comparison and a move. It reads the reference count only if the stack may be
/// shared.
///
/// Thread contract: thread-compatible; copies may be used in different threads.
template <typename Element>
class SharedStack {
  using Storage = SlotStorage<Element>;
  static constexpr bool isCopyable = std::copy_constructible<Element>;

 public:
  constexpr SharedStack() noexcept = default;
  SharedStack(const SharedStack& other) noexcept
    requires isCopyable
      : begin_(other.begin_), end_(other.end_), limit_(other.limit_) {
    if (begin_ == nullptr) return;
    Storage::of(begin_)->references().retain();
    other.mark_.set();
    mark_.set();
  }
  SharedStack(SharedStack&& other) noexcept { swap(other); }
  SharedStack& operator=(const SharedStack&) = delete;
  SharedStack& operator=(SharedStack&& other) noexcept {
    SharedStack moved(std::move(other));
    swap(moved);
    return *this;
  }
  ~SharedStack() {
    if (begin_ == nullptr || !Storage::of(begin_)->references().release()) return;
    std::destroy(begin_, end_);
    Storage::free(Storage::of(begin_));
  }

  void swap(SharedStack& other) noexcept {
    std::swap(begin_, other.begin_);
    std::swap(end_, other.end_);
    std::swap(limit_, other.limit_);
    std::swap(mark_, other.mark_);
  }

  [[nodiscard]] bool isEmpty() const noexcept { return begin_ == end_; }
  [[nodiscard]] std::size_t count() const noexcept { return static_cast<std::size_t>(end_ - begin_); }
  [[nodiscard]] std::size_t capacity() const noexcept { return static_cast<std::size_t>(limit_ - begin_); }

  /// The elements from the bottom to the top. The caller may change them only if the stack is not shared.
  [[nodiscard]] Element* begin() noexcept { return begin_; }
  [[nodiscard]] Element* end() noexcept { return end_; }

  /// Whether there is a free slot and the stack is certainly not shared.
  [[nodiscard]] bool hasRoom() const noexcept { return end_ != limit_ && !mark_.isSet(); }
  /// Ensures `hasRoom()`. New memory has at least `leastCapacity` slots.
  [[gnu::noinline]] void makeRoom(std::size_t leastCapacity) {
    if (isShared()) {
      replaceStorage(std::max({leastCapacity, count() + 1, capacity()}));
    } else if (end_ == limit_) {
      replaceStorage(std::max(leastCapacity, 2 * capacity()));
    }
  }
  /// Adds an element. Requires `hasRoom()`.
  template <typename Value>
  void push(Value&& value) {
    std::construct_at(end_, std::forward<Value>(value));
    ++end_;
  }
  /// Adds the elements of a range of slots. There must be room for all. Moves the elements. Copies them if they are
  /// shared, or if their move may throw and they can be copied. If a copy or move throws, the stack stays as it was.
  template <typename Iterator>
  void pushAll(Iterator first, Iterator last, bool areShared) {
    if constexpr (isCopyable) {
      if (areShared || !std::is_nothrow_move_constructible_v<Element>) {
        end_ = std::uninitialized_copy(first, last, end_);
        return;
      }
    }
    end_ = std::uninitialized_copy(std::make_move_iterator(first), std::make_move_iterator(last), end_);
  }

  /// Gives this stack elements of its own if it shares them.
  void makeUnshared() {
    if (isShared()) replaceStorage(count());
  }
  /// Whether there is an element and the stack is certainly not shared.
  [[nodiscard]] bool hasTop() const noexcept { return begin_ != end_ && !mark_.isSet(); }
  /// The element that was added last. Requires an element.
  [[nodiscard]] Element& top() noexcept { return *(end_ - 1); }
  /// Removes the top element. Requires `hasTop()`.
  void pop() noexcept {
    --end_;
    std::destroy_at(end_);
  }
  /// Removes all elements. Keeps the memory. The stack must not be shared.
  void clear() noexcept {
    std::destroy(begin_, end_);
    end_ = begin_;
  }

  /// Whether another stack shares the elements. Reads the reference count only if the mark is set.
  [[nodiscard]] bool isShared() noexcept {
    if (!mark_.isSet()) return false;
    if (!Storage::of(begin_)->references().isOne()) return true;
    mark_.clear();
    return false;
  }

 private:
  void replaceStorage(std::size_t newCapacity) {
    SharedStack replacement;
    replacement.begin_ = replacement.end_ = Storage::make(static_cast<std::int64_t>(newCapacity))->cells();
    replacement.limit_ = replacement.begin_ + newCapacity;
    replacement.pushAll(begin_, end_, isShared());
    swap(replacement);
  }

  Element* begin_ = nullptr;
  Element* end_ = nullptr;
  Element* limit_ = nullptr;
  SharingMark mark_;
};

}  // namespace Tessaly::inline v1::detail
