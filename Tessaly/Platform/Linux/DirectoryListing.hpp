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

/// The identity of the file that a directory entry names. The time of creation distinguishes the file from a later file
/// with the same inode number. On a volume without times of creation, only a different type distinguishes the two
/// files.
struct EntryIdentity {
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  std::int64_t born = 0;
  FileType type = FileType::other;

  friend auto operator<=>(const EntryIdentity&, const EntryIdentity&) noexcept = default;
};

/// The system's description of an entry.
struct FoundFile {
  EntryIdentity identity;
  FileAttributes attributes;
  /// Whether the file is a regular file with more than one hard link.
  bool isLinked = false;
};

/// Examines an entry of an open directory, or the directory itself if the name is empty. Does not follow a symbolic
/// link. Returns nothing if the entry does not exist. Throws `POSIXError`.
[[nodiscard]] std::optional<FoundFile> lookAt(int directory, const char* name);

/// The treatment of an entry whose attributes cannot be read, such as the mount point of a FUSE volume whose program
/// has ended. With `isListed`, the entry has the type that the directory gives, or else `FileType::other`. All other
/// members of its `FoundFile` keep their defaults.
enum class UnreadableEntry : std::uint8_t { isListed, isOmitted };

/// All entries of an open directory, except "." and "..". Reads from the beginning, and leaves the position of the
/// descriptor `directory` unchanged. Throws `POSIXError`.
[[nodiscard]] std::vector<std::pair<std::string, FoundFile>> listDirectory(int directory, UnreadableEntry unreadable);

/// The names in an open directory, except "." and "..", like `listDirectory`.
[[nodiscard]] std::vector<std::string> namesInDirectory(int directory);

/// Where a symbolic link leads. Throws `POSIXError`.
[[nodiscard]] std::string targetOfLink(int directory, const char* name);

/// Whether the volume of a path is a network or FUSE volume, whose files can change without an event on this system.
/// False if the volume cannot be examined.
[[nodiscard]] bool isOnRemoteVolume(const char* path) noexcept;

}  // namespace Tessaly::inline v1::detail
