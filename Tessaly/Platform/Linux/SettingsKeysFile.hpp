// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <vector>

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
  /// The published keys, sorted by name. Empty if the file is missing, unreadable or malformed.
  [[nodiscard]] std::vector<SettingDescription> read() const;

 private:
  SettingsFileSystem& files_;
  const std::string path_;
  const std::uint64_t writer_;
};

}  // namespace Tessaly::inline v1::detail
