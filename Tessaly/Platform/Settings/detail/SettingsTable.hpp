// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Foundation/PropertyList.hpp"
#include "Tessaly/Core/Locks/UnfairLock.hpp"

namespace Tessaly::inline v1::detail {

/// The settings in memory: a hash table under a lock. `value` and `exchange` hold the lock for some nanoseconds. `all`
/// holds it for about 0.1 us for each entry. Former values are destroyed outside the lock.
///
/// Thread contract: thread-safe.
class TESSALY_EXPORT SettingsTable {
 public:
  SettingsTable();
  ~SettingsTable();

  [[nodiscard]] std::optional<PropertyList> value(std::string_view key) const;
  /// Stores a value, or removes the entry if `value` is absent. Returns the former value.
  std::optional<PropertyList> exchange(std::string_view key, std::optional<PropertyList> value);
  /// Replaces all values with the given ones.
  void replace(const PropertyList::Dictionary& values);
  /// Replaces all values with the values of the other table. A reader sees all new values, or none of them. The other
  /// table is empty afterwards.
  void takeFrom(SettingsTable& other);
  [[nodiscard]] PropertyList::Dictionary all() const;
  /// A number that changes with each call of `exchange`, `replace` or `takeFrom` on this table. No other table has ever
  /// had the same number. If another table takes all values from this table by `takeFrom`, the number of this table
  /// does not change.
  [[nodiscard]] std::uint64_t revision() const noexcept { return revision_.load(std::memory_order_acquire); }

 private:
  struct Hash {
    using is_transparent = void;
    std::size_t operator()(std::string_view key) const noexcept { return std::hash<std::string_view>()(key); }
  };

  using Values = std::unordered_map<std::string, PropertyList, Hash, std::equal_to<>>;

  static std::uint64_t nextRevision() noexcept;
  void put(Values& values);

  mutable UnfairLock lock_;
  Values values_ TESSALY_GUARDED_BY(lock_);
  std::atomic<std::uint64_t> revision_{nextRevision()};
};

}  // namespace Tessaly::inline v1::detail
