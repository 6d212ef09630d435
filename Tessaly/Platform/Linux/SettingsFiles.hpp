// SPDX-License-Identifier: MIT
#pragma once

#include <sys/stat.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Base/detail/DescriptorIO.hpp"
#include "Tessaly/Platform/Settings/detail/SettingsJournal.hpp"

namespace Tessaly::inline v1::detail {

enum class LockMode : std::uint8_t { shared, exclusive };
enum class Patience : std::uint8_t { none, some };

/// How long a lock is waited for at most: its holder may have been stopped.
inline constexpr std::chrono::seconds lockPatience{2};

/// Takes an advisory lock of a whole file. The error code.
[[nodiscard]] int lockFile(int descriptor, LockMode mode, Patience patience) noexcept;

[[nodiscard]] FileIdentity identityOf(const struct stat& status) noexcept;
/// None where there is no file.
[[nodiscard]] TESSALY_EXPORT FileIdentity identityAt(const std::string& path) noexcept;

struct FileContents {
  std::string bytes;
  FileIdentity identity;
};
/// A whole regular file; nothing, with `errno` set, when it cannot be read or changes meanwhile (EAGAIN).
[[nodiscard]] TESSALY_EXPORT std::optional<FileContents> readFile(const std::string& path);

/// Reads so many bytes, or as many as there are. The error code.
[[nodiscard]] int readAt(int descriptor, std::uint64_t offset, std::size_t size, std::string& bytes);
/// Has room for so many bytes behind the offset without changing the size. The error code; 0 where nobody can say.
[[nodiscard]] int reserve(int descriptor, std::uint64_t offset, std::uint64_t size) noexcept;

/// Makes a folder and those above it, for this user only. The error code.
[[nodiscard]] int makeFolders(const std::string& path);
/// Where the path leads in the end, if it is a symbolic link; the path itself if not.
[[nodiscard]] std::string followed(const std::string& path);
[[nodiscard]] std::string folderOfPath(const std::string& path);
/// Writes what is known of a folder's entries to the disk. The error code; 0 where folders cannot be written so, or
/// this one not be opened.
[[nodiscard]] int synchronizeFolder(const std::string& path) noexcept;
/// Removes the files whose paths are this beginning and a number, and that nobody has written to for a minute: their
/// writers were killed.
void removeAbandoned(const std::string& beginning);
/// Renames the file to the first free one of "<stem>.damaged<extension>", "<stem>.damaged-2<extension>" and so on, as
/// if it had the other path. The new path, or nothing.
[[nodiscard]] std::optional<std::string> setAside(const std::string& path, const std::string& as);
[[nodiscard]] inline std::optional<std::string> setAside(const std::string& path) { return setAside(path, path); }

/// Where the settings of an application stand: `$XDG_CONFIG_HOME/<identifier>`, or in `.config` in the home folder.
/// Nothing when there is no such place, or the identifier cannot name a folder.
[[nodiscard]] TESSALY_EXPORT std::optional<std::string> settingsFolder(std::string_view identifier);

}  // namespace Tessaly::inline v1::detail
