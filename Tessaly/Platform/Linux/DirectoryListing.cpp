// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Linux/DirectoryListing.hpp"

#include <dirent.h>
#include <fcntl.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstddef>
#include <memory>
#include <string_view>

#include "Tessaly/Core/Foundation/POSIXError.hpp"

namespace Tessaly::inline v1::detail {
namespace {

Date dateOf(const statx_timestamp& time) noexcept {
  return Date(std::chrono::sys_time<std::chrono::nanoseconds>(std::chrono::seconds(time.tv_sec) +
                                                              std::chrono::nanoseconds(time.tv_nsec)));
}

FileType typeOf(std::uint16_t mode) noexcept {
  if (S_ISREG(mode)) return FileType::regular;
  if (S_ISDIR(mode)) return FileType::directory;
  return S_ISLNK(mode) ? FileType::symbolicLink : FileType::other;
}

struct CloseDirectory {
  void operator()(DIR* directory) const noexcept { ::closedir(directory); }
};

}  // namespace

std::optional<FoundFile> lookAt(int directory, const char* name) {
  struct statx status{};
  const int flags = AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT | (*name == '\0' ? AT_EMPTY_PATH : 0);
  if (::statx(directory, name, flags, STATX_BASIC_STATS | STATX_BTIME, &status) != 0) {
    if (errno == ENOENT || errno == ENOTDIR || errno == ESTALE) return std::nullopt;
    throw POSIXError::last();
  }
  const bool hasBirth = (status.stx_mask & STATX_BTIME) != 0;
  FoundFile found;
  found.identity = {.device = static_cast<std::uint64_t>(status.stx_dev_major) << 32 | status.stx_dev_minor,
                    .inode = status.stx_ino,
                    .born = hasBirth ? status.stx_btime.tv_sec * 1'000'000'000 + status.stx_btime.tv_nsec : 0,
                    .type = typeOf(status.stx_mode)};
  found.attributes = {.type = found.identity.type,
                      .size = static_cast<std::int64_t>(status.stx_size),
                      .modified = dateOf(status.stx_mtime),
                      .created = hasBirth ? std::optional(dateOf(status.stx_btime)) : std::nullopt};
  found.isLinked = found.attributes.type == FileType::regular && status.stx_nlink > 1;
  return found;
}

namespace {

FileType typeOf(const dirent& entry) noexcept {
  if (entry.d_type == DT_REG) return FileType::regular;
  if (entry.d_type == DT_DIR) return FileType::directory;
  return entry.d_type == DT_LNK ? FileType::symbolicLink : FileType::other;
}

/// Whether only the entry is unreadable. FUSE gives `ENOTCONN` if the program of a volume has ended, and `EACCES`
/// for the volumes of other users.
bool isOfEntryAlone(std::int64_t error, int directory) noexcept {
  if (error == EACCES) return ::faccessat(directory, ".", X_OK, AT_EACCESS) == 0;
  struct stat status{};
  return (error == EIO || error == ENOTCONN) && ::fstat(directory, &status) == 0;
}

std::optional<FoundFile> lookAtEntry(int directory, const dirent& entry, UnreadableEntry unreadable) {
  try {
    return lookAt(directory, entry.d_name);
  } catch (const POSIXError& error) {
    if (!isOfEntryAlone(error.code(), directory)) throw;
    if (unreadable == UnreadableEntry::isOmitted) return std::nullopt;
    FoundFile found;
    found.attributes.type = typeOf(entry);
    return found;
  }
}

/// Calls a function with a descriptor of the directory and each entry.
template <typename Visit>
void forEachEntry(int directory, Visit visit) {
  const int own = ::openat(directory, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (own < 0) throw POSIXError::last();
  const std::unique_ptr<DIR, CloseDirectory> stream(::fdopendir(own));
  if (stream == nullptr) {
    const POSIXError error = POSIXError::last();
    ::close(own);
    throw error;
  }
  for (;;) {
    errno = 0;
    const dirent* const entry = ::readdir(stream.get());
    if (entry == nullptr) {
      if (errno != 0) throw POSIXError::last();
      return;
    }
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") visit(own, *entry);
  }
}

}  // namespace

std::vector<std::pair<std::string, FoundFile>> listDirectory(int directory, UnreadableEntry unreadable) {
  std::vector<std::pair<std::string, FoundFile>> found;
  forEachEntry(directory, [&](int own, const dirent& entry) {
    if (const auto file = lookAtEntry(own, entry, unreadable)) found.emplace_back(entry.d_name, *file);
  });
  return found;
}

std::vector<std::string> namesInDirectory(int directory) {
  std::vector<std::string> names;
  forEachEntry(directory, [&](int, const dirent& entry) { names.emplace_back(entry.d_name); });
  return names;
}

std::string targetOfLink(int directory, const char* name) {
  std::array<char, PATH_MAX> target;  // The kernel allows no longer targets.
  const ssize_t length = ::readlinkat(directory, name, target.data(), target.size());
  if (length < 0) throw POSIXError::last();
  return {target.data(), static_cast<std::size_t>(length)};
}

bool isOnRemoteVolume(const char* path) noexcept {
  struct statfs volume{};
  if (::statfs(path, &volume) != 0) return false;
  constexpr std::uint32_t smb2 = 0xFE534D42;
  constexpr std::uint32_t cifs = 0xFF534D42;
  constexpr std::uint32_t ceph = 0x00C36400;
  constexpr std::array<std::uint32_t, 9> remote{
      NFS_SUPER_MAGIC,  SMB_SUPER_MAGIC, smb2, cifs, ceph, V9FS_MAGIC, AFS_SUPER_MAGIC,
      CODA_SUPER_MAGIC, FUSE_SUPER_MAGIC};
  return std::ranges::find(remote, static_cast<std::uint32_t>(volume.f_type)) != remote.end();
}

}  // namespace Tessaly::inline v1::detail
