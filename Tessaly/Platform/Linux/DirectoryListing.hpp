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

/// Which file an entry leads to. The moment of its birth tells it from a later file that got the same number.
struct FileIdentity {
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  std::int64_t born = 0;

  friend auto operator<=>(const FileIdentity&, const FileIdentity&) noexcept = default;
};

/// An entry as the system describes it.
struct FoundFile {
  FileIdentity identity;
  FileAttributes attributes;
  /// Whether it is a file with other names too.
  bool isLinked = false;
};

/// Looks at an entry of an open directory, or with an empty name at the directory itself; follows no link. Nothing
/// where there is no such entry. Throws `POSIXError`.
[[nodiscard]] std::optional<FoundFile> lookAt(int directory, const char* name);

/// All entries of an open directory, from its beginning. Throws `POSIXError`.
[[nodiscard]] std::vector<std::pair<std::string, FoundFile>> listDirectory(int directory);

/// Whether others can write to the volume of a path without this system's noticing.
[[nodiscard]] bool isOnRemoteVolume(const char* path) noexcept;

}  // namespace Tessaly::inline v1::detail
