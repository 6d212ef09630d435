// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <optional>

#include "Tessaly/Core/Base/detail/OwnedDescriptor.hpp"
#include "Tessaly/Core/Locks/UnfairLock.hpp"
#include "Tessaly/Platform/Linux/SettingsPatience.hpp"
#include "Tessaly/Platform/Linux/SettingsStore.hpp"

namespace Tessaly::inline v1::detail {

/// Writes the values into the property list. One process at a time does it, under a lock of the directory, and one
/// thread of this process at a time. A second process waits for the lock as long as its patience allows. Then it gives
/// up, or writes what is still missing.
///
/// Thread contract: thread-safe.
class SettingsCheckpointer {
 public:
  enum class Outcome : std::uint8_t {
    done,
    /// Another process has the lock.
    busy,
    failed,
    /// The property list must become readable, or be set aside, first.
    postponed,
  };

  explicit SettingsCheckpointer(SettingsStore& store) : store_(store) {}

  Outcome run(SettingsPatience& patience);

 private:
  /// `isOutdated`: it must be made again, because it only finished that of another process, or the directory was moved
  /// away.
  Outcome runOnce(SettingsPatience& patience, bool& isOutdated) TESSALY_REQUIRES(lock_);
  [[nodiscard]] StoreResult<bool> write(int directory, SettingsPatience& patience) TESSALY_REQUIRES(lock_);
  [[nodiscard]] StoreResult<> waitForDisk(const SettingsStore::Standing& standing) TESSALY_REQUIRES(lock_);
  [[nodiscard]] StoreResult<> lock(int directory, SettingsPatience& patience);
  [[nodiscard]] bool isElsewhere(int directory);

  SettingsStore& store_;
  /// Before the store's own lock.
  UnfairLock lock_;
  /// The list and the journal for which this process last waited. While both are in the directory, no further wait is
  /// needed.
  std::optional<SettingsStore::Standing> synchronized_ TESSALY_GUARDED_BY(lock_);
};

}  // namespace Tessaly::inline v1::detail
