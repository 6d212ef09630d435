// SPDX-License-Identifier: MIT
// Component: Tessaly::Foundation
#pragma once

#include <atomic>
#include <concepts>
#include <cstdint>
#include <utility>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Base/Requirements.hpp"

namespace Tessaly::inline v1 {

/// A value on the heap. Copies share the value until one of them is written. For example, `Data` and `NSOrderedSet`
/// store their contents in holders of this type.
///
/// Copying costs one atomic addition. Writing copies the value first, unless the value has a single holder. The test
/// for a single holder is an acquire load, so all reads by former holders happen before the write. A
/// default-constructed or moved-from `CopyOnWrite` reads as a default-constructed value and has no storage.
///
/// After a copy of the holder was made, never use a reference that `modify` returned before. A write through the
/// reference would change the copy too.
///
/// The nearest standard facility is `std::shared_ptr`, whose `use_count` does not safely detect the only holder.
///
/// Thread contract: thread-compatible; holders of one value may be used in different threads.
///
///     CopyOnWrite<std::vector<int>> numbers(std::vector{1, 2});
///     CopyOnWrite<std::vector<int>> before = numbers;
///     numbers.modify().push_back(3);
///     // before.read() is still {1, 2}.
template <typename Value>
  requires std::copy_constructible<Value> && std::default_initializable<Value>
class CopyOnWrite {
 public:
  constexpr CopyOnWrite() noexcept = default;
  /// Moves the value into new storage. Allocates.
  explicit CopyOnWrite(Value value) : storage_(new Storage(std::move(value))) {}
  constexpr CopyOnWrite(const CopyOnWrite& other) noexcept : storage_(other.storage_) { retain(); }
  constexpr CopyOnWrite(CopyOnWrite&& other) noexcept : storage_(std::exchange(other.storage_, nullptr)) {}
  constexpr CopyOnWrite& operator=(CopyOnWrite other) noexcept {
    std::swap(storage_, other.storage_);
    return *this;
  }
  constexpr ~CopyOnWrite() { release(); }

  /// The value. Valid until this holder is written or destroyed.
  [[nodiscard]] const Value& read() const noexcept TESSALY_LIFETIMEBOUND {
    if (storage_ == nullptr) return emptyValue();
    return storage_->value;
  }

  /// Returns the value for writing. First copies the value if another holder shares it, so no other holder sees the
  /// changes. The caller must not use the reference after a copy of this holder was made. O(size of the value) if the
  /// value was shared, or else O(1).
  [[nodiscard]] Value& modify() {
    if (!isUnique()) {
      CopyOnWrite copy(storage_ == nullptr ? Value() : storage_->value);
      std::swap(storage_, copy.storage_);
    }
    return storage_->value;
  }

  /// Whether this holder has storage that no other holder shares.
  [[nodiscard]] bool isUnique() const noexcept {
    return storage_ != nullptr && storage_->holders.load(std::memory_order_acquire) == 1;
  }

  /// Whether both holders share one storage, or neither has storage. In both cases they have the same value.
  [[nodiscard]] bool isIdentical(const CopyOnWrite& other) const noexcept { return storage_ == other.storage_; }

 private:
  struct Storage {
    explicit Storage(Value&& initial) : value(std::move(initial)) {}

    Value value;
    std::atomic<std::uint32_t> holders{1};
  };

  static const Value& emptyValue() noexcept {
    static const Value& empty = *new Value();
    return empty;
  }
  constexpr void retain() const noexcept {
    if (storage_ != nullptr) storage_->holders.fetch_add(1, std::memory_order_relaxed);
  }
  constexpr void release() noexcept {
    if (storage_ != nullptr && storage_->holders.fetch_sub(1, std::memory_order_acq_rel) == 1) delete storage_;
  }

  Storage* storage_ = nullptr;
};

}  // namespace Tessaly::inline v1
