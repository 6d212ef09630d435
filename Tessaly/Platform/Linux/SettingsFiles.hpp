// SPDX-License-Identifier: MIT
#pragma once

#include <sys/stat.h>

#include <optional>
#include <string>
#include <string_view>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Platform/Linux/SettingsFileSystem.hpp"
#include "Tessaly/Platform/Settings/detail/SettingsJournal.hpp"

namespace Tessaly::inline v1::detail {

[[nodiscard]] FileIdentity identityOf(const struct stat& status) noexcept;
/// None if there is no file.
[[nodiscard]] TESSALY_EXPORT FileIdentity identityAt(const std::string& path,
                                                     SettingsFileSystem& files = SettingsFileSystem::shared());
/// 0 if the path has nothing.
[[nodiscard]] ino_t inodeAt(const std::string& path, SettingsFileSystem& files);

struct FileContents {
  std::string bytes;
  FileIdentity identity;
};
/// A whole regular file. A file that changes meanwhile is a system problem (EAGAIN).
[[nodiscard]] TESSALY_EXPORT StoreResult<FileContents> readFile(
    const std::string& path, SettingsFileSystem& files = SettingsFileSystem::shared());

/// Makes a directory and those above it, for this user only.
[[nodiscard]] StoreResult<> makeDirectories(const std::string& path, SettingsFileSystem& files);
/// The path that a symbolic link leads to in the end; the path itself if it is no link.
[[nodiscard]] std::string followed(const std::string& path, SettingsFileSystem& files);
[[nodiscard]] std::string directoryOfPath(const std::string& path);
/// Waits until a file, or the entries of a directory, are on the disk. Succeeds if it may not be opened.
[[nodiscard]] StoreResult<> synchronizePath(const std::string& path, int flags, SettingsFileSystem& files);
/// Removes the files whose paths are this beginning and a number, if they are older than a minute: a process was
/// killed while it wrote them.
void removeAbandoned(const std::string& beginning, SettingsFileSystem& files);

/// Whether the file that is set aside keeps its own name, too.
enum class SettingAside : std::uint8_t { move, keepBoth };
/// Gives a file the first free name of "<stem>.damaged<extension>", "<stem>.damaged-2<extension>" and so on, with the
/// stem and the extension of `as`. Returns the new path.
[[nodiscard]] StoreResult<std::string> setAside(const std::string& path, const std::string& as, SettingAside manner,
                                                SettingsFileSystem& files);

/// The directory of an application's settings: `$XDG_CONFIG_HOME/<identifier>`, or in `.config` in the home directory.
/// Nothing when there is no such place, or the identifier cannot name a directory.
[[nodiscard]] TESSALY_EXPORT std::optional<std::string> settingsDirectory(std::string_view identifier);

}  // namespace Tessaly::inline v1::detail
