// SPDX-License-Identifier: MIT
// Component: Tessaly::Collections
#pragma once

#include <algorithm>
#include <concepts>
#include <cstddef>
#include <initializer_list>
#include <optional>
#include <ranges>
#include <utility>
#include <vector>

#include "Tessaly/Collections/detail/SharedRun.hpp"
#include "Tessaly/Core/Base/Requirements.hpp"

namespace Tessaly::inline v1 {

/// A first-in, first-out queue made of two stacks. Elements enter on the right stack and leave from the left one. When
/// the left stack is empty, it takes over the elements of the right one.
///
/// Copies share the elements until one copy is changed. Prefer `RingArray` if the length is bounded, and `std::queue`
/// if no single operation may take O(n). Even after the queue has been long, the stacks usually keep their memory. But
/// when the stacks change places, an empty stack with more than 4 KiB may release its memory. The stack does so if it
/// used less than half of that memory.
///
/// Cost: enqueueing takes amortised O(1), and moves elements only if the right stack grows. Dequeueing takes O(1).
/// After a copy, the first change of each stack takes O(n).
///
/// Thread contract: thread-compatible; copies may be used in different threads.
///
///     FIFOStack<Job> pending;
///     pending.enqueue(job);
///     while (auto next = pending.dequeue()) run(*next);
template <std::move_constructible Element>
class FIFOStack {
  using Stack = detail::SharedRun<Element>;
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

  /// Adds an element after all others. Amortised O(1), or O(n) while the elements are shared.
  void enqueue(const Element& element)
    requires isCopyable
  {
    push(element);
  }
  void enqueue(Element&& element) { push(std::move(element)); }

  /// Adds the elements of a range, or of a list in braces, in order, after all others. If reading the range throws,
  /// the elements that were read before the exception are in the queue.
  template <std::ranges::input_range Elements = std::initializer_list<Element>>
    requires std::convertible_to<std::ranges::range_reference_t<Elements>, Element>
  void enqueueContentsOf(Elements&& elements) {
    for (auto&& element : elements) push(std::forward<decltype(element)>(element));
  }

  /// Removes and returns the element that was added first. Returns nothing if the queue is empty. O(1), or O(n) while
  /// the elements are shared.
  std::optional<Element> dequeue() {
    if (!left_.hasFirst()) [[unlikely]] {
      if (isEmpty()) return std::nullopt;
      prepareLeft();
    }
    std::optional<Element> first(std::move(left_.first()));
    left_.popFirst();
    return first;
  }

  /// Whether the queue is empty. O(1).
  [[nodiscard]] bool isEmpty() const noexcept { return left_.isEmpty() && right_.isEmpty(); }

  /// Empties the queue and returns its elements. **The order is intentionally that of the two stacks, and not that of
  /// the queue.** First come the elements of the left stack, from which `dequeue` takes. They come in reverse order:
  /// the element that `dequeue` would return next comes last. Then come the elements of the right stack, to which
  /// `enqueue` adds, in the order in which they were added. So the result is in the order of the queue only if the left
  /// stack holds at most one element.
  std::vector<Element> removeAll() {
    std::vector<Element> all;
    all.reserve(left_.count() + right_.count());
    left_.makeUnshared();
    right_.makeUnshared();
    for (Element* next = left_.end(); next != left_.begin();) all.push_back(std::move_if_noexcept(*--next));
    for (Element& element : right_) all.push_back(std::move_if_noexcept(element));
    *this = FIFOStack();
    return all;
  }

 private:
  template <typename Value>
  void push(Value&& value) {
    if (!right_.hasRoom()) [[unlikely]]
      makeRoom();
    right_.push(std::forward<Value>(value));
  }

  /// Ensures that the right stack has room and is not shared.
  [[gnu::noinline]] void makeRoom() {
    // An empty queue continues in the memory that the left stack used last, because the processor's caches may still
    // hold that memory.
    if (isEmpty() && !isSmall(left_) && right_.capacity() < left_.capacity()) {
      rewindOrRelease(left_);
      left_.swap(right_);
    }
    // Otherwise the right stack gets at least the capacity of the left stack.
    if (!right_.hasRoom()) right_.makeRoom(std::max(left_.capacity(), std::size_t{4}));
  }

  /// Ensures that the left stack has an element and is not shared. The queue must not be empty.
  [[gnu::noinline]] void prepareLeft() {
    if (!left_.isEmpty()) return left_.makeUnshared();
    right_.makeUnshared();
    rewindOrRelease(left_);
    left_.swap(right_);
  }

  /// Whether a stack has at most 4 KiB of memory. Both stacks keep such memory if it is not shared. Without this rule,
  /// a queue that holds only a few elements at a time would allocate memory for each element.
  static bool isSmall(const Stack& stack) noexcept { return stack.capacity() * sizeof(Element) <= 4'096; }
  static void rewindOrRelease(Stack& empty) noexcept {
    const bool isWorthKeeping = isSmall(empty) || empty.capacity() / 2 <= empty.usedCapacity();
    if (isWorthKeeping && !empty.isShared()) {
      empty.rewind();
    } else {
      empty = Stack();
    }
  }

  /// The stacks keep the elements in the order in which they were added. So the stacks can change places without moving
  /// an element. `dequeue` removes the first element of the left stack.
  Stack left_;
  Stack right_;
};

}  // namespace Tessaly::inline v1
