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

/// Elements side by side in growable memory. They are added at the end and taken from the beginning. Copies share the
/// memory until one copy is changed.
///
/// Unlike a `std::vector`, a run also stores the position of its first element. So taking the first element does not
/// move the others. Adding or taking an element costs two tests and a move. The atomic count of holders is read only if
/// the memory may have another holder.
///
/// Thread contract: thread-compatible; copies may be used in different threads.
template <typename Element>
class SharedRun {
  using Storage = SlotStorage<Element>;
  static constexpr bool isCopyable = std::copy_constructible<Element>;

 public:
  constexpr SharedRun() noexcept = default;
  SharedRun(const SharedRun& other) noexcept
    requires isCopyable
      : cells_(other.cells_), begin_(other.begin_), end_(other.end_), limit_(other.limit_) {
    if (cells_ == nullptr) return;
    Storage::of(cells_)->references().retain();
    other.mark_.set();
    mark_.set();
  }
  SharedRun(SharedRun&& other) noexcept { swap(other); }
  SharedRun& operator=(const SharedRun&) = delete;
  SharedRun& operator=(SharedRun&& other) noexcept {
    SharedRun moved(std::move(other));
    swap(moved);
    return *this;
  }
  ~SharedRun() {
    if (cells_ == nullptr || !Storage::of(cells_)->references().release()) return;
    std::destroy(begin_, end_);
    Storage::free(Storage::of(cells_));
  }

  void swap(SharedRun& other) noexcept {
    std::swap(cells_, other.cells_);
    std::swap(begin_, other.begin_);
    std::swap(end_, other.end_);
    std::swap(limit_, other.limit_);
    std::swap(mark_, other.mark_);
  }

  [[nodiscard]] bool isEmpty() const noexcept { return begin_ == end_; }
  [[nodiscard]] std::size_t count() const noexcept { return static_cast<std::size_t>(end_ - begin_); }
  [[nodiscard]] std::size_t capacity() const noexcept { return static_cast<std::size_t>(limit_ - cells_); }
  /// The number of slots up to the last element, including the slots of elements that were taken.
  [[nodiscard]] std::size_t usedCapacity() const noexcept { return static_cast<std::size_t>(end_ - cells_); }

  /// The elements in the order in which they were added. Change them only if the run is not shared.
  [[nodiscard]] Element* begin() noexcept { return begin_; }
  [[nodiscard]] Element* end() noexcept { return end_; }

  /// Whether there is a slot after the last element and the memory certainly has no other holder.
  [[nodiscard]] bool hasRoom() const noexcept { return end_ != limit_ && !mark_.isSet(); }
  /// Ensures `hasRoom()`. New memory has at least `minimumCapacity` slots.
  [[gnu::noinline]] void makeRoom(std::size_t minimumCapacity) {
    if (isShared()) {
      replaceStorage(std::max({minimumCapacity, count() + 1, capacity()}));
    } else if (end_ == limit_) {
      replaceStorage(std::max(minimumCapacity, 2 * capacity()));
    }
  }
  /// Adds an element. `hasRoom()` must be true.
  template <typename Value>
  void push(Value&& value) {
    std::construct_at(end_, std::forward<Value>(value));
    ++end_;
  }

  /// Ensures that the memory has no other holder.
  void makeUnshared() {
    if (isShared()) replaceStorage(count());
  }
  /// Whether there is an element to take and the memory certainly has no other holder.
  [[nodiscard]] bool hasFirst() const noexcept { return begin_ != end_ && !mark_.isSet(); }
  /// The element that was added first. `hasFirst()` must be true.
  [[nodiscard]] Element& first() noexcept { return *begin_; }
  /// Destroys the first element. `hasFirst()` must be true.
  void popFirst() noexcept {
    std::destroy_at(begin_);
    ++begin_;
  }
  /// Makes the whole memory available again. The run must be empty and not shared.
  void rewind() noexcept { begin_ = end_ = cells_; }

  /// Whether the memory has another holder. Reads the atomic count of holders only if `mark_` is set, which means that
  /// the memory may have another holder.
  [[nodiscard]] bool isShared() noexcept {
    if (!mark_.isSet()) return false;
    if (!Storage::of(cells_)->references().isOne()) return true;
    mark_.clear();
    return false;
  }

 private:
  /// Moves the run to new memory with `newCapacity` slots. If copying or moving an element throws, a run of copyable
  /// elements stays as it was.
  void replaceStorage(std::size_t newCapacity) {
    SharedRun replacement;
    replacement.cells_ = Storage::make(static_cast<std::int64_t>(newCapacity))->cells();
    replacement.begin_ = replacement.end_ = replacement.cells_;
    replacement.limit_ = replacement.cells_ + newCapacity;
    replacement.pushAll(begin_, end_, isShared());
    swap(replacement);
  }
  void pushAll(Element* first, Element* last, bool areShared) {
    if constexpr (isCopyable) {
      if (areShared || !std::is_nothrow_move_constructible_v<Element>) {
        end_ = std::uninitialized_copy(first, last, end_);
        return;
      }
    }
    end_ = std::uninitialized_copy(std::make_move_iterator(first), std::make_move_iterator(last), end_);
  }

  /// The first slot of the memory.
  Element* cells_ = nullptr;
  Element* begin_ = nullptr;
  Element* end_ = nullptr;
  Element* limit_ = nullptr;
  SharingMark mark_;
};

}  // namespace Tessaly::inline v1::detail
