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

/// Writes the values into the property list. Only one process at a time does so, under a lock of the directory, and
/// only one thread of this process. Another process waits for the lock as long as its patience allows. If it gets the
/// lock, it writes the changes that are still missing. Otherwise it gives up.
///
/// Thread contract: thread-safe.
class SettingsCheckpointer {
 public:
  enum class Outcome : std::uint8_t {
    done,
    /// Another process has the lock.
    busy,
    failed,
    /// The property list must first become readable or be set aside.
    postponed,
  };

  explicit SettingsCheckpointer(SettingsStore& store) : store_(store) {}

  Outcome run(SettingsPatience& patience);

 private:
  /// Makes one checkpoint. Sets `isOutdated` if another one must follow: this one only finished an earlier checkpoint,
  /// everything was read again, the list has vanished, or the directory was moved away.
  Outcome runOnce(SettingsPatience& patience, bool& isOutdated) TESSALY_REQUIRES(lock_);
  [[nodiscard]] StoreResult<bool> write(int directory, SettingsPatience& patience) TESSALY_REQUIRES(lock_);
  [[nodiscard]] StoreResult<> waitForDisk(const SettingsStore::Standing& standing) TESSALY_REQUIRES(lock_);
  [[nodiscard]] StoreResult<> lock(int directory, SettingsPatience& patience);
  [[nodiscard]] bool isElsewhere(int directory);

  SettingsStore& store_;
  /// Taken before the store's own lock.
  UnfairLock lock_;
  /// The list and the journal that this process last waited for, until they were on the disk. While both are in the
  /// directory, no further wait is needed.
  std::optional<SettingsStore::Standing> synchronized_ TESSALY_GUARDED_BY(lock_);
};

}  // namespace Tessaly::inline v1::detail
