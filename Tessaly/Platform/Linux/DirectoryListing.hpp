// SPDX-License-Identifier: MIT
#pragma once

#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Tessaly/Platform/Files/DirectoryEntry.hpp"

namespace Tessaly::inline v1::detail {

/// The identity of the file of an entry. The time of creation distinguishes it from a later file with the same inode
/// number.
struct FileIdentity {
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  std::int64_t born = 0;

  friend auto operator<=>(const FileIdentity&, const FileIdentity&) noexcept = default;
};

/// The system's description of an entry.
struct FoundFile {
  FileIdentity identity;
  FileAttributes attributes;
  /// Whether the file has further names.
  bool isLinked = false;
};

/// Examines an entry of an open directory, or the directory itself if the name is empty. Follows no link. Returns
/// nothing if the entry does not exist. Throws `POSIXError`.
[[nodiscard]] std::optional<FoundFile> lookAt(int directory, const char* name);

/// All entries of an open directory, from its beginning. Throws `POSIXError`.
[[nodiscard]] std::vector<std::pair<std::string, FoundFile>> listDirectory(int directory);

/// Whether other machines can write to the volume of a path without an event on this system.
[[nodiscard]] bool isOnRemoteVolume(const char* path) noexcept;

}  // namespace Tessaly::inline v1::detail
