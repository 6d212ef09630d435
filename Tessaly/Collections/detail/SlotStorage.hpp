// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <new>

#include "Tessaly/Collections/detail/ReferenceCount.hpp"

namespace Tessaly::inline v1::detail {

/// The slots of a collection. New slots are uninitialised memory. The collection knows which slots are occupied. Copies
/// of the collection share the storage until one copy is changed.
///
/// Thread contract: thread-compatible.
template <typename Element>
class SlotStorage {
 public:
  /// Allocates storage with `slotCount` slots. Throws `std::bad_alloc`.
  static SlotStorage* make(std::uint64_t slotCount) {
    if (slotCount > (maximumBytes - slotsOffset) / sizeof(Element)) {
      throw std::bad_array_new_length();
    }
    void* block = ::operator new(slotsOffset + slotCount * sizeof(Element), alignment);
    return ::new (block) SlotStorage;
  }
  SlotStorage(const SlotStorage&) = delete;
  SlotStorage& operator=(const SlotStorage&) = delete;

  /// Frees the memory. The slots must be unoccupied.
  static void free(SlotStorage* storage) noexcept {
    storage->~SlotStorage();
    ::operator delete(static_cast<void*>(storage), alignment);
  }

  [[nodiscard]] ReferenceCount& references() noexcept { return references_; }
  [[nodiscard]] Element* cells() noexcept {
    return reinterpret_cast<Element*>(reinterpret_cast<std::byte*>(this) + slotsOffset);
  }
  /// The storage whose first slot is at `cells`.
  [[nodiscard]] static SlotStorage* of(Element* cells) noexcept {
    return reinterpret_cast<SlotStorage*>(reinterpret_cast<std::byte*>(cells) - slotsOffset);
  }

 private:
  SlotStorage() noexcept = default;
  ~SlotStorage() = default;

  static constexpr std::size_t maximumBytes = std::numeric_limits<std::ptrdiff_t>::max();
  static constexpr std::size_t blockAlignment =
      std::max({alignof(Element), alignof(ReferenceCount), std::size_t{__STDCPP_DEFAULT_NEW_ALIGNMENT__}});
  static constexpr std::align_val_t alignment{blockAlignment};
  static constexpr std::size_t slotsOffset =
      (sizeof(ReferenceCount) + alignof(Element) - 1) / alignof(Element) * alignof(Element);

  ReferenceCount references_;
};

}  // namespace Tessaly::inline v1::detail
