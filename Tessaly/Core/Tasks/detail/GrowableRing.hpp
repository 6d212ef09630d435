// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <memory>
#include <type_traits>
#include <utility>

namespace Tessaly::inline v1::detail {

/// A first-in, first-out buffer in one contiguous allocation. The allocation doubles when an element is added to a full
/// buffer. An empty buffer keeps its allocation.
///
/// Unlike `std::deque`, it allocates nothing before the first element, and nothing while its capacity suffices.
///
/// Thread contract: thread-compatible.
template <typename Element>
class GrowableRing {
  static_assert(std::is_nothrow_move_constructible_v<Element>, "growing moves the elements and must not stop half-way");

 public:
  GrowableRing() noexcept = default;
  GrowableRing(const GrowableRing&) = delete;
  GrowableRing& operator=(const GrowableRing&) = delete;
  ~GrowableRing() {
    while (count_ > 0) popFront();
    if (elements_ != nullptr) std::allocator<Element>().deallocate(elements_, capacity_);
  }

  void swap(GrowableRing& other) noexcept {
    std::swap(elements_, other.elements_);
    std::swap(capacity_, other.capacity_);
    std::swap(begin_, other.begin_);
    std::swap(count_, other.count_);
  }

  [[nodiscard]] bool isEmpty() const noexcept { return count_ == 0; }
  [[nodiscard]] std::size_t count() const noexcept { return count_; }

  /// Whether another element can be added without allocating.
  [[nodiscard]] bool hasRoom() const noexcept { return count_ != capacity_; }

  void append(Element&& element) {
    if (!hasRoom()) grow();
    std::construct_at(slot(count_), std::move(element));
    ++count_;
  }

  /// Moves the first element out. The buffer must not be empty.
  Element takeFront() noexcept {
    Element element = std::move(*slot(0));
    popFront();
    return element;
  }

 private:
  Element* slot(std::size_t offset) const noexcept { return elements_ + ((begin_ + offset) & (capacity_ - 1)); }

  void popFront() noexcept {
    std::destroy_at(slot(0));
    begin_ = (begin_ + 1) & (capacity_ - 1);
    --count_;
  }

  void grow() {
    GrowableRing larger;
    larger.capacity_ = capacity_ == 0 ? 8 : capacity_ * 2;
    larger.elements_ = std::allocator<Element>().allocate(larger.capacity_);
    while (count_ > 0) larger.append(takeFront());
    swap(larger);
  }

  Element* elements_ = nullptr;
  std::size_t capacity_ = 0;
  std::size_t begin_ = 0;
  std::size_t count_ = 0;
};

}  // namespace Tessaly::inline v1::detail
