// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <cstring>
#include <memory>
#include <type_traits>
#include <utility>

namespace Tessaly::inline v1::detail {

/// Writes the slots of a ring. Small trivially copyable elements are stored twice, so that the elements lie side by
/// side even when the ring wraps.
///
/// Thread contract: thread-compatible.
template <typename Element>
struct RingSlots {
  /// Whether each slot has a twin with the same bytes, at a distance of one capacity.
  static constexpr bool haveTwins = std::is_trivially_copyable_v<Element> && sizeof(Element) <= 16;

  /// Copies a slot into the slot's twin when the `Update` is destroyed, even if an exception causes the destruction.
  class Update {
   public:
    Update(Element& slot, std::int64_t capacity) noexcept : slot_(slot), capacity_(capacity) {}
    ~Update() {
      if constexpr (haveTwins) std::memcpy(static_cast<void*>(&slot_ + capacity_), &slot_, sizeof(Element));
    }
    Update(const Update&) = delete;
    Update& operator=(const Update&) = delete;

   private:
    Element& slot_;
    std::int64_t capacity_;
  };

  /// Fills an empty slot.
  template <typename Value>
  static void construct(Element& slot, std::int64_t capacity, Value&& element) {
    std::construct_at(&slot, std::forward<Value>(element));
    const Update update(slot, capacity);
  }

  /// Replaces the element of a slot. If the replacement throws, the slot still has an element.
  template <typename Value>
  static void replace(Element& slot, std::int64_t capacity, Value&& element) {
    const Update update(slot, capacity);
    if constexpr (std::is_trivially_copyable_v<Element> && std::is_assignable_v<Element&, Value>) {
      slot = std::forward<Value>(element);
    } else if constexpr (std::is_nothrow_constructible_v<Element, Value>) {
      std::destroy_at(&slot);
      std::construct_at(&slot, std::forward<Value>(element));
    } else {
      slot = std::forward<Value>(element);
    }
  }
};

}  // namespace Tessaly::inline v1::detail
