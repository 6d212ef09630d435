// SPDX-License-Identifier: MIT
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <utility>
#include <vector>

namespace Tessaly::inline v1::detail {

/// A hash with its bits mixed, because the table uses only the low bits. Many hashes, such as those of integers and
/// pointers, differ only in their high bits or only in their low bits.
constexpr std::uint64_t mixedHash(std::uint64_t hash) noexcept {
  const std::uint64_t mixed = (hash ^ hash >> 32) * 0x9E37'79B9'7F4A'7C15u;
  return mixed ^ mixed >> 32;
}

/// The members of an ordered set without their order. Each member has a fixed slot. A hash table of slots with linear
/// probing finds a member. The slot of a removed member keeps the element until the set is compacted or cleared.
template <typename Element, typename Hash, typename Equal>
class OrderedSetMembers {
 public:
  using Slot = std::uint32_t;

  [[nodiscard]] const Element& operator[](Slot slot) const noexcept { return slots_[slot].element; }

  [[nodiscard]] std::optional<Slot> find(const Element& element) const {
    if (count_ == 0) return std::nullopt;
    const std::size_t hash = hashOf(element);
    for (std::size_t at = hash & mask();; at = (at + 1) & mask()) {
      if (table_[at] == empty) return std::nullopt;
      const Member& member = slots_[table_[at]];
      if (member.hash == hash && Equal()(member.element, element)) return table_[at];
    }
  }

  /// Adds a member and returns its slot. The set must not contain an equal member.
  Slot add(Element element) {
    if (slots_.size() >= empty) throw std::length_error("An ordered set has at most 4294967295 members");
    if ((count_ + 1) * 4 > table_.size() * 3) grow();
    const auto slot = static_cast<Slot>(slots_.size());
    const std::size_t hash = hashOf(element);
    slots_.push_back({std::move(element), hash});
    place(slot);
    ++count_;
    return slot;
  }

  /// Removes the member of a slot from the table, and closes the gap in the table. The slot keeps the element.
  void remove(Slot slot) {
    std::size_t gap = slots_[slot].hash & mask();
    while (table_[gap] != slot) gap = (gap + 1) & mask();
    for (std::size_t at = (gap + 1) & mask(); table_[at] != empty; at = (at + 1) & mask()) {
      const std::size_t home = slots_[table_[at]].hash & mask();
      if (((at - home) & mask()) < ((at - gap) & mask())) continue;
      table_[gap] = table_[at];
      gap = at;
    }
    table_[gap] = empty;
    --count_;
  }

  [[nodiscard]] std::size_t count() const noexcept { return count_; }
  /// The number of slots, including those of removed members.
  [[nodiscard]] std::size_t slotCount() const noexcept { return slots_.size(); }

  void reserve(std::size_t count) {
    slots_.reserve(count);
    if (count * 4 > table_.size() * 3) resizeTable(std::bit_ceil(count * 4 / 3 + 1));
  }

 private:
  static constexpr Slot empty = static_cast<Slot>(-1);

  struct Member {
    Element element;
    std::size_t hash;
  };

  static std::size_t hashOf(const Element& element) { return static_cast<std::size_t>(mixedHash(Hash()(element))); }
  [[nodiscard]] std::size_t mask() const noexcept { return table_.size() - 1; }
  void place(Slot slot) {
    std::size_t at = slots_[slot].hash & mask();
    while (table_[at] != empty) at = (at + 1) & mask();
    table_[at] = slot;
  }
  void grow() { resizeTable(table_.empty() ? 8 : table_.size() * 2); }
  void resizeTable(std::size_t size) {
    const std::vector<Slot> old = std::exchange(table_, std::vector<Slot>(size, empty));
    for (const Slot slot : old) {
      if (slot != empty) place(slot);
    }
  }

  std::vector<Member> slots_;
  std::vector<Slot> table_;
  std::size_t count_ = 0;
};

}  // namespace Tessaly::inline v1::detail
