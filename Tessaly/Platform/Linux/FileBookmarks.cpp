// SPDX-License-Identifier: MIT
#include <dirent.h>
#include <fcntl.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cerrno>
#include <cstring>
#include <deque>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

#include "Tessaly/Core/Foundation/POSIXError.hpp"
#include "Tessaly/Core/Foundation/URLError.hpp"
#include "Tessaly/Platform/Bookmarks/Bookmarks.hpp"
#include "Tessaly/Platform/Bookmarks/DocumentError.hpp"
#include "Tessaly/Platform/Linux/DocumentPortal.hpp"
#include "Tessaly/Platform/Linux/Sandbox.hpp"

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

/// Whether the portal may show this directory. Its volume is in user space, and refuses the question about some
/// directories.
bool mayShowDocuments(const std::string& directory) noexcept {
  struct statfs volume{};
  return ::statfs(directory.c_str(), &volume) == 0 ? volume.f_type == FUSE_SUPER_MAGIC : errno == EPERM;
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
  /// An absolute path. The path of a document is relative to the directory of all documents, and begins with the
  /// document's identifier.
  std::string path;

  [[nodiscard]] bool isOfDocument() const noexcept { return !path.starts_with('/'); }
};

bool isDocumentPath(const std::filesystem::path& path) {
  return !path.empty() && path.is_relative() && path.lexically_normal().native() == path.native() &&
         *path.begin() != "." && *path.begin() != "..";
}

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
  if (token.path.find('\0') != std::string::npos) throw POSIXError(EINVAL);
  if (token.isOfDocument() && !isDocumentPath(token.path)) throw POSIXError(EINVAL);
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

URL urlOf(const std::string& path) { return URL::fileURLWithPath(path, URL::DirectoryHint::checkFileSystem); }

/// The path of a document, relative to the directory of all documents. Nothing outside a sandbox, or for other files.
std::optional<std::string> documentAt(const std::string& path) {
  if (!mayShowDocuments(folderOf(path)) || !detail::readSandbox()) return std::nullopt;
  const std::string documents = detail::directoryOfDocuments();
  std::error_code ignored;
  for (std::size_t slash = path.find('/', 1); slash != std::string::npos; slash = path.find('/', slash + 1)) {
    // Flatpak shows the directory by two paths.
    if (!std::filesystem::equivalent(path.substr(0, slash), documents, ignored)) continue;
    const auto document = std::filesystem::path(path.substr(slash + 1)).lexically_normal();
    if (isDocumentPath(document)) return document.string();
  }
  return std::nullopt;
}

ResolvedBookmark resolveDocument(const Token& token) {
  const std::string documents = detail::directoryOfDocuments();
  if (!mayShowDocuments(documents)) throw DocumentError(DocumentFailure::notMounted);
  const std::string document = documents + '/' + token.path.substr(0, token.path.find('/'));
  const auto place = identityOf(document);
  if (!place && errno != ENOENT) throw POSIXError::last();
  if (!place) throw DocumentError(DocumentFailure::revoked);
  // The portal's volume has a new number after each start of the portal, and keeps no times of creation.
  const Identity wanted{.device = place->device, .inode = token.identity.inode};
  const std::string path = documents + '/' + token.path;
  const auto there = identityOf(path);
  // The portal decides which file the user has granted. Below a granted directory the inode number decides.
  const bool isGranted = std::ranges::count(token.path, '/') <= 1;
  if (there && (isGranted || there->isSameFile(wanted))) return {urlOf(path), false};
  if (const auto found = Search(wanted).below(document)) return {urlOf(*found), true};
  throw POSIXError(ENOENT);
}

class FileBookmarks final : public Bookmarks {
 public:
  Data bookmarkData(const URL& url, BookmarkCreationOptions /*options*/) override {
    if (!url.isFileURL()) throw URLError(URLError::Code::unsupportedURL);
    const std::string path = url.path();
    if (path.find('\0') != std::string::npos) throw POSIXError(EINVAL);
    const auto identity = identityOf(path);
    if (!identity) throw POSIXError::last();
    return encode({*identity, documentAt(path).value_or(path)});
  }

  ResolvedBookmark resolve(const Data& data, BookmarkResolutionOptions /*options*/) override {
    const Token token = decode(data);
    if (token.isOfDocument()) return resolveDocument(token);
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
};

}  // namespace

Bookmarks& Bookmarks::system() {
  static auto& bookmarks = *new FileBookmarks;
  return bookmarks;
}

}  // namespace Tessaly::inline v1
