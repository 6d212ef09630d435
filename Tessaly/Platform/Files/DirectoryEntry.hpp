// SPDX-License-Identifier: MIT
// Component: Tessaly::Files
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Tessaly/Core/Foundation/Date.hpp"

namespace Tessaly::inline v1 {

/// The kind of an entry of a directory.
enum class FileType : std::uint8_t {
  regular,
  directory,
  symbolicLink,
  other,  ///< A device, a pipe or a socket.
};

/// The attributes of an entry of a directory. For a symbolic link, all members describe the link itself.
///
/// Thread contract: thread-compatible.
///
///     const bool isLarge = entry.attributes.type == FileType::regular && entry.attributes.size > 1'000'000;
struct FileAttributes {
  FileType type = FileType::other;
  /// The size in bytes.
  std::int64_t size = 0;
  Date modified = Date::since1970(0);
  /// The time of creation, or nothing if the volume does not keep it.
  std::optional<Date> created;

  friend bool operator==(const FileAttributes&, const FileAttributes&) noexcept = default;
};

/// An entry of a directory.
///
/// Thread contract: thread-compatible.
///
///     for (const DirectoryEntry& entry : files.contentsOfDirectory(notes)) std::cout << entry.path << '\n';
struct DirectoryEntry {
  /// The path relative to the directory: "notes.txt", or "drafts/notes.txt" for an entry in a subdirectory.
  std::string path;
  FileAttributes attributes;

  friend bool operator==(const DirectoryEntry&, const DirectoryEntry&) noexcept = default;
};

}  // namespace Tessaly::inline v1
