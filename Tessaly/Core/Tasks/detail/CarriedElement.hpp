// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

#include "Tessaly/Core/Tasks/detail/FramePool.hpp"

namespace Tessaly::inline v1::detail {

/// An element on its way from producer to consumer. Moving a carried element runs no code of the element and never
/// throws. So queues of carried elements can change under a lock.
///
/// A trivially copyable element is stored directly. Any other element is in a separate block from the pool of coroutine
/// frames, or from the general allocator if the element is over-aligned. A move then passes the block on, and the
/// moved-from object is empty.
///
/// Thread contract: thread-compatible.
template <typename Element,
          bool IsBytes = std::is_trivially_copyable_v<Element> && std::is_nothrow_move_constructible_v<Element>>
class CarriedElement {
 public:
  /// The move of a trivially copyable element throws nothing.
  explicit CarriedElement(Element&& element) : element_(std::move(element)) {}

  [[nodiscard]] Element& value() noexcept { return element_; }

 private:
  Element element_;
};

template <typename Element>
class CarriedElement<Element, false> {
 public:
  explicit CarriedElement(Element&& element) : block_(allocate()) {
    try {
      std::construct_at(block_, std::move(element));
    } catch (...) {
      free(block_);
      throw;
    }
  }
  CarriedElement(CarriedElement&& other) noexcept : block_(std::exchange(other.block_, nullptr)) {}
  CarriedElement& operator=(CarriedElement&&) = delete;
  ~CarriedElement() {
    if (block_ == nullptr) return;
    std::destroy_at(block_);
    free(block_);
  }

  [[nodiscard]] Element& value() noexcept { return *block_; }

 private:
  static constexpr bool isOverAligned = alignof(Element) > __STDCPP_DEFAULT_NEW_ALIGNMENT__;

  static Element* allocate() {
    if constexpr (isOverAligned) {
      return static_cast<Element*>(::operator new(sizeof(Element), std::align_val_t(alignof(Element))));
    } else {
      return static_cast<Element*>(allocateFrame(sizeof(Element)));
    }
  }
  static void free(Element* block) noexcept {
    if constexpr (isOverAligned) {
      ::operator delete(block, std::align_val_t(alignof(Element)));
    } else {
      freeFrame(block, sizeof(Element));
    }
  }

  Element* block_;
};

}  // namespace Tessaly::inline v1::detail
