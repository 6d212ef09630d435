// SPDX-License-Identifier: MIT
// Component: Tessaly::Collections
#pragma once

#include <algorithm>
#include <concepts>
#include <cstddef>
#include <initializer_list>
#include <iterator>
#include <optional>
#include <ranges>
#include <type_traits>
#include <utility>
#include <vector>

#include "Tessaly/Collections/detail/Boxed.hpp"
#include "Tessaly/Collections/detail/SharedStack.hpp"
#include "Tessaly/Core/Base/Requirements.hpp"

namespace Tessaly::inline v1 {

/// A first-in, first-out queue made of two growable stacks. Elements enter the right stack and leave the left one. When
/// the left stack is empty, it takes the elements of the right stack in reverse order.
///
/// Enqueueing and dequeueing take amortised constant time on contiguous memory. Copies share the elements until one of
/// them is written. Prefer `RingArray` if the length is bounded, and `std::queue` if no single operation may take O(n).
/// Each element of more than 256 bytes has an allocation of its own.
///
/// Thread contract: thread-compatible; copies may be used in different threads.
///
///     FIFOStack<Job> pending;
///     pending.enqueue(job);
///     while (auto next = pending.dequeue()) run(*next);
template <std::move_constructible Element>
class FIFOStack {
  static constexpr bool isCopyable = std::copy_constructible<Element>;

 public:
  using value_type = Element;

  /// An empty queue. Allocates nothing.
  FIFOStack() noexcept = default;
  /// Shares the elements. O(1).
  FIFOStack(const FIFOStack& other) noexcept
    requires isCopyable
  = default;
  /// Takes the elements. The other queue is empty afterwards.
  FIFOStack(FIFOStack&&) noexcept = default;
  FIFOStack& operator=(const FIFOStack& other) noexcept
    requires isCopyable
  {
    FIFOStack copy(other);
    swap(copy);
    return *this;
  }
  FIFOStack& operator=(FIFOStack&& other) noexcept {
    FIFOStack moved(std::move(other));
    swap(moved);
    return *this;
  }
  ~FIFOStack() = default;

  void swap(FIFOStack& other) noexcept {
    left_.swap(other.left_);
    right_.swap(other.right_);
  }
  friend void swap(FIFOStack& left, FIFOStack& right) noexcept { left.swap(right); }

  /// Adds an element behind all others. Amortised O(1).
  void enqueue(const Element& element)
    requires isCopyable
  {
    push(element);
  }
  void enqueue(Element&& element) { push(std::move(element)); }

  /// Adds the elements of a range, or of a list in braces, behind all others in the same order. If reading the range
  /// throws, the queue keeps the elements that were read before.
  template <std::ranges::input_range Elements = std::initializer_list<Element>>
    requires std::convertible_to<std::ranges::range_reference_t<Elements>, Element>
  void enqueueContentsOf(Elements&& elements) {
    for (auto&& element : elements) push(std::forward<decltype(element)>(element));
  }

  /// Removes and returns the element that was added first. Returns nothing if the queue is empty. Amortised O(1); O(n)
  /// if the left stack is empty.
  std::optional<Element> dequeue() {
    if (!left_.hasTop() && !makeTop()) [[unlikely]]
      return std::nullopt;
    std::optional<Element> first(std::move(valueOf(left_.top())));
    left_.pop();
    return first;
  }

  /// Whether the queue is empty. O(1).
  [[nodiscard]] bool isEmpty() const noexcept { return left_.isEmpty() && right_.isEmpty(); }

  /// Empties the queue and returns the elements **as they are stored**: the left stack, then the right one. The last
  /// element of the left stack would have left the queue next. So the result has the queue's order only if the left
  /// stack holds at most one element.
  std::vector<Element> removeAll() {
    std::vector<Element> all;
    all.reserve(left_.count() + right_.count());
    left_.makeUnshared();
    right_.makeUnshared();
    for (Stack* stack : {&left_, &right_}) {
      for (Slot& slot : *stack) all.push_back(std::move_if_noexcept(valueOf(slot)));
    }
    *this = FIFOStack();
    return all;
  }

 private:
  /// Large elements have an allocation of their own, because stacks move their elements when they grow and when they
  /// are reversed.
  static constexpr bool isLarge = sizeof(Element) > 256;
  using Slot = std::conditional_t<isLarge, detail::Boxed<Element>, Element>;
  using Stack = detail::SharedStack<Slot>;

  static Element& valueOf(Slot& slot) noexcept {
    if constexpr (isLarge) {
      return slot.value();
    } else {
      return slot;
    }
  }

  template <typename Value>
  void push(Value&& value) {
    if (!right_.hasRoom()) [[unlikely]]
      right_.makeRoom(leastCapacity());
    right_.push(std::forward<Value>(value));
  }

  /// Ensures that the left stack has an element if the queue has one.
  [[gnu::noinline]] bool makeTop() {
    if (isEmpty()) return false;
    if (left_.isEmpty()) flip();
    left_.makeUnshared();
    return true;
  }

  /// Fills the empty left stack with the elements of the right one, the last one first. If a copy throws, the queue
  /// stays as it was.
  void flip() {
    const std::size_t count = right_.count();
    if (left_.isShared() || left_.capacity() < count || !isWorthKeeping(left_, count)) {
      left_ = Stack();
      left_.makeRoom(count);
    }
    const bool areShared = right_.isShared();
    left_.pushAll(std::make_reverse_iterator(right_.end()), std::make_reverse_iterator(right_.begin()), areShared);
    if (!areShared && isWorthKeeping(right_, 0)) {
      right_.clear();
    } else {
      right_ = Stack();
    }
  }

  /// An empty stack keeps memory up to this size. Otherwise a queue with few elements at a time would allocate for each
  /// element.
  static constexpr std::size_t keptBytes = 4'096;
  static bool isWorthKeeping(const Stack& stack, std::size_t neededCount) noexcept {
    return stack.capacity() * sizeof(Slot) <= keptBytes || stack.capacity() / 2 <= neededCount;
  }
  /// The minimum capacity of a new right stack. It will probably become as high as the previous right stack, which is
  /// now the left one.
  [[nodiscard]] std::size_t leastCapacity() const noexcept { return std::max(left_.capacity(), std::size_t{4}); }

  Stack left_;
  Stack right_;
};

}  // namespace Tessaly::inline v1
