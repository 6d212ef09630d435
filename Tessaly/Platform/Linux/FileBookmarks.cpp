// SPDX-License-Identifier: MIT
#include <dirent.h>
#include <fcntl.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <array>
#include <bit>
#include <cerrno>
#include <cstring>
#include <deque>
#include <optional>
#include <string>
#include <string_view>

#include "Tessaly/Core/Foundation/POSIXError.hpp"
#include "Tessaly/Core/Foundation/URLError.hpp"
#include "Tessaly/Platform/Bookmarks/Bookmarks.hpp"

namespace Tessaly::inline v1 {
namespace {

constexpr std::string_view magic = "TSBM\x01";
constexpr std::size_t searchedNames = 100'000;
/// The number of directories that the search takes in turn: the file's directory, then those above it.
constexpr int searchedLevels = 3;
constexpr std::size_t maximalPath = std::size_t{64} * 1024;
/// A file system in user space lists this inode number for every file, unless it chooses the numbers itself.
constexpr ino_t unknownInode = 0xFFFF'FFFF;

/// The identity of a file on this machine.
struct Identity {
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  /// The time of creation, or 0 if the volume does not keep it.
  std::int64_t born = 0;

  [[nodiscard]] bool isSameFile(const Identity& other) const noexcept {
    return device == other.device && inode == other.inode && (born == other.born || born == 0 || other.born == 0);
  }
  /// Whether both are the same file of a volume whose number has changed, as it may when the system starts. The time of
  /// creation distinguishes files that had the same inode number.
  [[nodiscard]] bool isOfRenumberedVolume(const Identity& other) const noexcept {
    return device != other.device && inode == other.inode && born == other.born && born != 0;
  }
};

/// Whether files keep their time of creation. Overlayfs copies a file before the first write, and dates the copy.
bool keepsTimesOfCreation(const std::string& path) noexcept {
  struct statfs volume{};
  return ::statfs(path.c_str(), &volume) != 0 || volume.f_type != OVERLAYFS_SUPER_MAGIC;
}

std::optional<Identity> identityOf(const std::string& path) noexcept {
  struct statx status{};
  if (::statx(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW, STATX_INO | STATX_BTIME, &status) != 0) return std::nullopt;
  return Identity{.device = static_cast<std::uint64_t>(status.stx_dev_major) << 32 | status.stx_dev_minor,
                  .inode = status.stx_ino,
                  .born = (status.stx_mask & STATX_BTIME) != 0 && keepsTimesOfCreation(path)
                              ? status.stx_btime.tv_sec * 1'000'000'000 + status.stx_btime.tv_nsec
                              : 0};
}

bool isDirectory(const std::string& path) noexcept {
  struct stat status{};
  return ::lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

void append(Data::Bytes& bytes, std::uint64_t value) {
  for (int shift = 0; shift < 64; shift += 8) bytes.push_back(static_cast<std::uint8_t>(value >> shift));
}

std::uint64_t number(std::string_view bytes) noexcept {
  std::uint64_t value = 0;
  for (std::size_t i = 0; i < 8; ++i) value |= static_cast<std::uint64_t>(static_cast<std::uint8_t>(bytes[i])) << 8 * i;
  return value;
}

/// FNV-1a, which detects damaged data.
std::uint64_t checksum(std::string_view bytes) noexcept {
  std::uint64_t hash = 0xCBF29CE484222325;
  for (const char byte : bytes) hash = (hash ^ static_cast<std::uint8_t>(byte)) * 0x100000001B3;
  return hash;
}

struct Token {
  Identity identity;
  std::string path;
};

Data encode(const Token& token) {
  Data::Bytes bytes(magic.begin(), magic.end());
  append(bytes, token.identity.device);
  append(bytes, token.identity.inode);
  append(bytes, static_cast<std::uint64_t>(token.identity.born));
  bytes.insert(bytes.end(), token.path.begin(), token.path.end());
  append(bytes, checksum({reinterpret_cast<const char*>(bytes.data()), bytes.size()}));
  return Data(std::move(bytes));
}

Token decode(const Data& data) {
  const std::string_view text = data.text();
  constexpr std::size_t head = magic.size() + 24;
  if (text.size() < head + 9 || text.size() > maximalPath || !text.starts_with(magic)) throw POSIXError(EINVAL);
  const std::size_t end = text.size() - 8;
  if (number(text.substr(end)) != checksum(text.substr(0, end))) throw POSIXError(EINVAL);
  Token token{.identity = {.device = number(text.substr(magic.size())),
                           .inode = number(text.substr(magic.size() + 8)),
                           .born = std::bit_cast<std::int64_t>(number(text.substr(magic.size() + 16)))},
              .path = std::string(text.substr(head, end - head))};
  if (!token.path.starts_with('/') || token.path.find('\0') != std::string::npos) throw POSIXError(EINVAL);
  return token;
}

std::string folderOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == 0 || slash == std::string::npos ? "/" : path.substr(0, slash);
}

/// Searches for a file in a directory and its subdirectories on the same volume, nearest first.
class Search {
 public:
  explicit Search(const Identity& wanted) noexcept : wanted_(wanted) {}

  std::optional<std::string> below(const std::string& top) {
    const auto place = identityOf(top);
    if (!place) return std::nullopt;
    device_ = place->device;
    std::deque<std::string> folders{top};
    for (; !folders.empty() && left_ > 0; folders.pop_front()) {
      const auto found = in(folders.front(), folders);
      if (found) return found;
    }
    return std::nullopt;
  }

 private:
  std::optional<std::string> in(const std::string& folder, std::deque<std::string>& folders) {
    const auto place = identityOf(folder);
    if (!place || place->device != device_) return std::nullopt;
    DIR* const directory = ::opendir(folder.c_str());
    if (directory == nullptr) return std::nullopt;
    std::optional<std::string> found;
    while (!found && left_ > 0) {
      const dirent* const entry = ::readdir(directory);
      if (entry == nullptr) break;
      const std::string_view name = entry->d_name;
      if (name == "." || name == "..") continue;
      --left_;
      std::string path = (folder == "/" ? "" : folder) + '/' + entry->d_name;
      if ((entry->d_ino == wanted_.inode || entry->d_ino == unknownInode) && isWanted(path)) {
        found = std::move(path);
      } else if (entry->d_type == DT_DIR ||  // Some file systems list no types.
                 (entry->d_type == DT_UNKNOWN && isDirectory(path))) {
        folders.push_back(std::move(path));
      }
    }
    ::closedir(directory);
    return found;
  }

  [[nodiscard]] bool isWanted(const std::string& path) const noexcept {
    const auto found = identityOf(path);
    return found && (found->isSameFile(wanted_) || found->isOfRenumberedVolume(wanted_));
  }

  const Identity wanted_;
  std::uint64_t device_ = 0;
  std::size_t left_ = searchedNames;
};

class FileBookmarks final : public Bookmarks {
 public:
  Data bookmarkData(const URL& url, BookmarkCreationOptions /*options*/) override {
    if (!url.isFileURL()) throw URLError(URLError::Code::unsupportedURL);
    const std::string path = url.path();
    if (path.find('\0') != std::string::npos) throw POSIXError(EINVAL);
    const auto identity = identityOf(path);
    if (!identity) throw POSIXError::last();
    return encode({*identity, path});
  }

  ResolvedBookmark resolve(const Data& data, BookmarkResolutionOptions /*options*/) override {
    const Token token = decode(data);
    const auto there = identityOf(token.path);
    if (there && there->isSameFile(token.identity)) return {urlOf(token.path), false};
    if (there && there->isOfRenumberedVolume(token.identity)) return {urlOf(token.path), true};
    Search search(token.identity);
    std::string folder = folderOf(token.path);
    while (folder != "/" && !identityOf(folder)) folder = folderOf(folder);
    for (int level = 0; level < searchedLevels; ++level) {
      if (const auto found = search.below(folder)) return {urlOf(*found), true};
      if (folder == "/") break;
      folder = folderOf(folder);
    }
    throw POSIXError(ENOENT);
  }

 private:
  static URL urlOf(const std::string& path) { return URL::fileURLWithPath(path, URL::DirectoryHint::checkFileSystem); }
};

}  // namespace

Bookmarks& Bookmarks::system() {
  static auto& bookmarks = *new FileBookmarks;
  return bookmarks;
}

}  // namespace Tessaly::inline v1
