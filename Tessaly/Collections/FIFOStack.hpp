// SPDX-License-Identifier: MIT
#pragma once

#include <concepts>
#include <cstddef>
#include <iterator>
#include <memory>
#include <optional>
#include <ranges>
#include <type_traits>
#include <utility>
#include <vector>

#include "Tessaly/Collections/detail/Boxed.hpp"
#include "Tessaly/Collections/detail/ReferenceCount.hpp"

namespace Tessaly::inline v1 {

/// A first-in, first-out queue made of two growable stacks: elements enter on the right one, and leave from the left
/// one, which is filled with the right one's, reversed, whenever it is empty.
///
/// Enqueueing and dequeueing take amortised constant time on contiguous memory. Copies share the elements until one of
/// them is written. Prefer `RingArray` where the length is bounded, `std::queue` where single operations must not take
/// O(n) now and then. Elements of more than 256 bytes get an allocation each.
///
/// Thread contract: thread-compatible; copies may be used in different threads.
///
///     FIFOStack<Job> pending;
///     pending.enqueue(job);
///     while (auto next = pending.dequeue()) run(*next);
template <std::movable Element>
class FIFOStack {
  static constexpr bool isCopyable = std::copy_constructible<Element>;

 public:
  using value_type = Element;

  /// An empty queue. Allocates nothing.
  FIFOStack() noexcept = default;
  /// Shares the elements. O(1).
  FIFOStack(const FIFOStack& other) noexcept
    requires isCopyable
      : stacks_(other.stacks_) {
    if (stacks_ != nullptr) stacks_->references.retain();
  }
  /// Leaves the other empty.
  FIFOStack(FIFOStack&& other) noexcept : stacks_(std::exchange(other.stacks_, nullptr)) {}
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
  ~FIFOStack() {
    if (stacks_ != nullptr && stacks_->references.release()) delete stacks_;
  }

  void swap(FIFOStack& other) noexcept { std::swap(stacks_, other.stacks_); }
  friend void swap(FIFOStack& left, FIFOStack& right) noexcept { left.swap(right); }

  /// Adds an element behind all others. Amortised O(1).
  void enqueue(Element element) { writableStacks().right.emplace_back(std::move(element)); }

  /// Adds the elements of a range, in its order, behind all others. If reading it throws, those read so far are there.
  template <std::ranges::input_range Elements>
    requires std::convertible_to<std::ranges::range_reference_t<Elements>, Element>
  void enqueueContentsOf(Elements&& elements) {
    for (auto&& element : elements) enqueue(std::forward<decltype(element)>(element));
  }

  /// Takes out the element that was added first; none when there is none. Amortised O(1), O(n) when the left stack is
  /// empty.
  std::optional<Element> dequeue() {
    if (isEmpty()) return std::nullopt;
    Stacks& stacks = writableStacks();
    if (stacks.left.empty()) stacks.flip();
    std::optional<Element> first(std::move(valueOf(stacks.left.back())));
    stacks.left.pop_back();
    return first;
  }

  /// Whether nothing waits. O(1).
  [[nodiscard]] bool isEmpty() const noexcept {
    return stacks_ == nullptr || (stacks_->left.empty() && stacks_->right.empty());
  }

  /// Empties the queue and returns the elements **as they are stored**: the left stack, whose last element would have
  /// left next, and behind it the right one. That is the order of the queue only if the left stack holds at most one.
  std::vector<Element> removeAll() {
    if (isEmpty()) return {};
    Stacks& stacks = writableStacks();
    std::vector<Element> all;
    all.reserve(stacks.left.size() + stacks.right.size());
    for (std::vector<Slot>* stack : {&stacks.left, &stacks.right}) {
      for (Slot& slot : *stack) all.push_back(std::move(valueOf(slot)));
    }
    *this = FIFOStack();
    return all;
  }

 private:
  /// Elements are moved as often as their stack grows, and once from one to the other: large ones stay where they are.
  static constexpr bool isLarge = sizeof(Element) > 256;
  using Slot = std::conditional_t<isLarge, detail::Boxed<Element>, Element>;

  static Element& valueOf(Slot& slot) noexcept {
    if constexpr (isLarge) {
      return slot.value();
    } else {
      return slot;
    }
  }

  struct Stacks {
    Stacks() = default;
    Stacks(const Stacks& other)
      requires isCopyable
        : left(other.left), right(other.right) {}

    void flip() {
      if (std::is_nothrow_move_constructible_v<Slot> && isWorthKeeping(left, right.size())) {
        left.assign(std::make_move_iterator(right.rbegin()), std::make_move_iterator(right.rend()));
      } else {
        std::vector<Slot> reversed;
        reversed.reserve(right.size());
        for (Slot& slot : right | std::views::reverse) reversed.push_back(std::move_if_noexcept(slot));
        left.swap(reversed);
      }
      right.clear();
      if (!isWorthKeeping(right, 0)) {
        std::vector<Slot> small;
        small.reserve(keptBytes / sizeof(Slot));
        right.swap(small);
      }
    }
    static bool isWorthKeeping(const std::vector<Slot>& stack, std::size_t neededCount) {
      return stack.capacity() * sizeof(Slot) <= keptBytes || stack.capacity() / 2 <= neededCount;
    }

    detail::ReferenceCount references;
    std::vector<Slot> left;
    std::vector<Slot> right;
  };

  /// A stack this small keeps its memory when it is emptied: a queue that holds a few elements at a time would
  /// otherwise allocate for each.
  static constexpr std::size_t keptBytes = 4'096;

  Stacks& writableStacks() {
    if (stacks_ == nullptr) [[unlikely]] {
      stacks_ = new Stacks;
    } else if constexpr (isCopyable) {
      if (!stacks_->references.isOne()) [[unlikely]] {
        FIFOStack copy;
        copy.stacks_ = new Stacks(*stacks_);
        swap(copy);
      }
    }
    return *stacks_;
  }

  /// Null until there was an element.
  Stacks* stacks_ = nullptr;
};

}  // namespace Tessaly::inline v1
