// SPDX-License-Identifier: MIT
#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Platform/Linux/SettingsFileSystem.hpp"
#include "Tessaly/Platform/Settings/detail/SettingsJournal.hpp"

namespace Tessaly::inline v1::detail {

[[nodiscard]] FileIdentity identityOf(const struct stat& status) noexcept;
/// The identity of a file. `isNone()` is true if the file's status cannot be read, for example because there is no
/// file.
[[nodiscard]] TESSALY_EXPORT FileIdentity identityAt(const std::string& path,
                                                     SettingsFileSystem& files = SettingsFileSystem::shared());
/// The inode number of a file. 0 if the file's status cannot be read, for example because there is no file.
[[nodiscard]] ino_t inodeAt(const std::string& path, SettingsFileSystem& files);

struct FileContents {
  std::string bytes;
  FileIdentity identity;
};
/// Reads a whole regular file. Fails with a system problem (EAGAIN) if the file changes during the read.
[[nodiscard]] TESSALY_EXPORT StoreResult<FileContents> readFile(
    const std::string& path, SettingsFileSystem& files = SettingsFileSystem::shared());

/// Makes a directory and the missing directories above it, for this user only.
[[nodiscard]] StoreResult<> makeDirectories(const std::string& path, SettingsFileSystem& files);
/// The path at the end of a chain of symbolic links. If `path` is not a link, or if the chain has 40 links or more, the
/// result is `path`.
[[nodiscard]] std::string followed(const std::string& path, SettingsFileSystem& files);
[[nodiscard]] std::string directoryOfPath(const std::string& path);
/// Waits until the bytes of a file, or the entries of a directory, are on the disk. Also succeeds if this process has
/// no permission to open the path.
[[nodiscard]] StoreResult<> synchronizePath(const std::string& path, int flags, SettingsFileSystem& files);
/// Removes the files whose paths are `beginning` followed by a number, if their last write was more than a minute ago.
/// A process that is killed while it writes such a file leaves the file behind.
void removeAbandoned(const std::string& beginning, SettingsFileSystem& files);

/// Whether a file that is set aside also keeps its own name.
enum class SettingAside : std::uint8_t { move, keepBoth };
/// Renames a file (`move`), or adds a hard link to it (`keepBoth`). The new name is the first free one of
/// "<stem>.damaged<extension>", "<stem>.damaged-2<extension>" and so on. The directory, the stem and the extension are
/// those of `as`. Returns the new path.
[[nodiscard]] StoreResult<std::string> setAside(const std::string& path, const std::string& as, SettingAside manner,
                                                SettingsFileSystem& files);

/// The directory of an application's settings: `$XDG_CONFIG_HOME/<identifier>` if that variable is an absolute path,
/// otherwise `.config/<identifier>` in the home directory. Absent if neither directory is known as an absolute path, or
/// if the identifier cannot name a directory.
[[nodiscard]] TESSALY_EXPORT std::optional<std::string> settingsDirectory(std::string_view identifier);

}  // namespace Tessaly::inline v1::detail
