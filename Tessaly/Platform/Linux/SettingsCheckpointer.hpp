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

/// Writes the values into the property list. A lock of the directory admits one process at a time, and a lock in memory
/// admits one thread of this process. Another process waits for the lock of the directory until its `SettingsPatience`
/// ends. If that process gets the lock, it writes the changes that the list still lacks. Otherwise it gives up.
///
/// Thread contract: thread-safe.
class SettingsCheckpointer {
 public:
  enum class Outcome : std::uint8_t {
    done,
    /// Another process holds the lock of the directory or of the journal.
    busy,
    failed,
    /// The property list must first become readable or be set aside.
    postponed,
  };

  explicit SettingsCheckpointer(SettingsStore& store) : store_(store) {}

  Outcome run(SettingsPatience& patience);

 private:
  /// Makes one checkpoint. Sets `isOutdated` if another checkpoint must follow. The reasons are: this checkpoint only
  /// finished an earlier one, everything was read again, the list has vanished, or the directory was moved away.
  Outcome runOnce(SettingsPatience& patience, bool& isOutdated) TESSALY_REQUIRES(lock_);
  [[nodiscard]] StoreResult<bool> write(int directory, SettingsPatience& patience) TESSALY_REQUIRES(lock_);
  [[nodiscard]] StoreResult<> waitForDisk(const SettingsStore::Standing& standing) TESSALY_REQUIRES(lock_);
  [[nodiscard]] StoreResult<> lock(int directory, SettingsPatience& patience);
  [[nodiscard]] bool isElsewhere(int directory);

  SettingsStore& store_;
  /// Must be acquired before the store's own lock.
  UnfairLock lock_;
  /// The list and the journal that were in the directory when this process last waited for the disk. While both are
  /// still in the directory, no further wait is needed.
  std::optional<SettingsStore::Standing> synchronized_ TESSALY_GUARDED_BY(lock_);
};

}  // namespace Tessaly::inline v1::detail
