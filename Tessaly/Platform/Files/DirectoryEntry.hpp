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

/// An entry of a directory's listing. Of a symbolic link it is about the link itself.
///
/// Thread contract: thread-compatible.
///
///     const bool isLarge = entry.attributes.type == FileType::regular && entry.attributes.size > 1'000'000;
struct FileAttributes {
  FileType type = FileType::other;
  /// In bytes.
  std::int64_t size = 0;
  Date modified = Date::since1970(0);
  /// Nothing where the volume does not keep it.
  std::optional<Date> created;

  friend bool operator==(const FileAttributes&, const FileAttributes&) noexcept = default;
};

/// An entry of a directory.
///
/// Thread contract: thread-compatible.
///
///     for (const DirectoryEntry& entry : files.contentsOfDirectory(notes)) std::cout << entry.path << '\n';
struct DirectoryEntry {
  /// From the directory on: "notes.txt", or "drafts/notes.txt" for an entry further down.
  std::string path;
  FileAttributes attributes;

  friend bool operator==(const DirectoryEntry&, const DirectoryEntry&) noexcept = default;
};

}  // namespace Tessaly::inline v1
