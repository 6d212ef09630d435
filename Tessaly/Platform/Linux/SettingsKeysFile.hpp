// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Tessaly/Core/Locks/UnfairLock.hpp"
#include "Tessaly/Platform/Linux/SettingsFileSystem.hpp"
#include "Tessaly/Platform/Settings/SettingDescription.hpp"

namespace Tessaly::inline v1::detail {

/// The file of the published keys. A write does not wait until the file is on the disk, because no value depends on the
/// file, and hosts publish their keys at each start.
///
/// Thread contract: thread-safe.
class SettingsKeysFile {
 public:
  SettingsKeysFile(SettingsFileSystem& files, const std::string& directory, std::uint64_t writer);

  /// Writes the file, unless it holds the same keys.
  [[nodiscard]] StoreResult<> write(const std::vector<SettingDescription>& keys) const;
  /// The published keys, sorted by name. Empty if the file is missing, unreadable or malformed, or if the memory does
  /// not suffice.
  [[nodiscard]] std::vector<SettingDescription> read() const;

 private:
  SettingsFileSystem& files_;
  const std::string path_;
  const std::uint64_t writer_;
  /// Held during a write, because all writes use the same temporary file.
  mutable UnfairLock writing_;
};

}  // namespace Tessaly::inline v1::detail
