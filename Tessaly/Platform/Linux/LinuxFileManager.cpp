// SPDX-License-Identifier: MIT
#include <dirent.h>
#include <fcntl.h>
#include <linux/fs.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <limits>
#include <string_view>
#include <system_error>
#include <utility>

#include "Tessaly/Core/Base/detail/DescriptorIO.hpp"
#include "Tessaly/Core/Base/detail/OwnedDescriptor.hpp"
#include "Tessaly/Core/Base/detail/RenameWithoutReplacing.hpp"
#include "Tessaly/Core/Foundation/POSIXError.hpp"
#include "Tessaly/Core/Foundation/ProcessInfo.hpp"
#include "Tessaly/Platform/Files/FileManager.hpp"
#include "Tessaly/Platform/Files/detail/CopyItem.hpp"
#include "Tessaly/Platform/Files/detail/FilePath.hpp"
#include "Tessaly/Platform/Files/detail/RemoveItem.hpp"
#include "Tessaly/Platform/Linux/DirectoryListing.hpp"
#include "Tessaly/Platform/Linux/InotifyChangeSource.hpp"
#include "Tessaly/Platform/Linux/InotifyDirectorySource.hpp"
#include "Tessaly/Platform/Linux/InotifyObjectSource.hpp"

namespace Tessaly::inline v1::detail {
namespace {

constexpr const char* backupAttribute = "user.xdg.robots.backup";
constexpr std::string_view tagName = "CACHEDIR.TAG";
/// https://bford.info/cachedir/
constexpr std::string_view tagSignature = "Signature: 8a477f597d28d172789f06886806bc55";

void throwIf(const std::error_code& code) {
  if (code) throw POSIXError(code.value());
}

/// The value of an environment variable if it is an absolute path.
std::optional<std::string> pathVariable(const char* name) {
  auto value = ProcessInfo::processInfo().environmentValue(name);
  if (!value || !value->starts_with('/')) return std::nullopt;
  return value;
}

URL folderURL(std::string_view path) { return URL::fileURLWithPath(path, URL::DirectoryHint::isDirectory); }

bool isFolder(const std::string& path) {
  struct stat status{};
  if (::stat(path.c_str(), &status) != 0) throw POSIXError::last();
  return S_ISDIR(status.st_mode);
}

bool hasTag(const std::string& folder) {
  return beginningOfFile((folder + '/').append(tagName), tagSignature.size()) == tagSignature;
}

/// Whether the path names the directory `folder` or something inside it.
bool isWithin(const std::filesystem::path& path, const std::filesystem::path& folder) {
  struct stat wanted{};
  if (::lstat(folder.c_str(), &wanted) != 0 || !S_ISDIR(wanted.st_mode)) return false;
  std::error_code code;
  for (auto place = std::filesystem::weakly_canonical(path, code); !place.empty(); place = place.parent_path()) {
    struct stat status{};
    const bool isThere = ::stat(place.c_str(), &status) == 0;
    if (isThere && status.st_dev == wanted.st_dev && status.st_ino == wanted.st_ino) return true;
    if (place == place.root_path()) break;
  }
  return false;
}

class LinuxFileManager final : public FileManager {
 public:
  bool startAccessingSecurityScopedResource(const URL& /*url*/) override { return true; }
  void stopAccessingSecurityScopedResource(const URL& /*url*/) override {}

  FileHandle openForReading(const URL& file) override { return FileHandle::forReading(file); }
  std::shared_ptr<FileSystemObjectSource> makeFileSystemObjectSource(int descriptor, FileSystemEvent mask,
                                                                     OS_dispatch_queue queue) override {
    return std::make_shared<InotifyObjectSource>(descriptor, mask, queue);
  }
  std::unique_ptr<FileChangeSource> makeFileChangeSource(const URL& file,
                                                         std::function<void()> onPossibleChange) override {
    return std::make_unique<InotifyChangeSource>(filePath(file), std::move(onPossibleChange));
  }

  std::unique_ptr<DirectorySource> makeDirectorySource(const URL& directory, DirectoryDepth depth,
                                                       std::function<void()> onPossibleChange) override {
    return std::make_unique<InotifyDirectorySource>(filePath(directory), depth, std::move(onPossibleChange));
  }
  std::vector<DirectoryEntry> contentsOfDirectory(const URL& directory) const override {
    const OwnedDescriptor opened(::open(filePath(directory).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!opened.isOpen()) throw POSIXError::last();
    std::vector<DirectoryEntry> entries;
    for (auto& [name, file] : listDirectory(opened.get(), UnreadableEntry::isListed))
      entries.push_back({std::move(name), file.attributes});
    return entries;
  }

  bool fileExists(const std::string& path) const noexcept override {
    struct stat status{};
    return path.find('\0') == std::string::npos && ::stat(path.c_str(), &status) == 0;
  }
  Data contents(const URL& file) const override { return Data::contentsOf(file); }
  void write(const Data& data, const URL& file) override { data.write(file); }

  void createDirectory(const URL& folder, IntermediateDirectories intermediate) override {
    const std::string path = filePath(folder);
    if (intermediate == IntermediateDirectories::required) {
      if (::mkdir(path.c_str(), 0777) != 0) throw POSIXError::last();
      return;
    }
    std::error_code code;
    std::filesystem::create_directories(path, code);
    if (code == std::errc::not_a_directory && ::access(path.c_str(), F_OK) == 0) throw POSIXError(EEXIST);
    throwIf(code);
  }
  void copyItem(const URL& source, const URL& destination) override {
    const std::filesystem::path from(filePath(source));
    const std::filesystem::path to(filePath(destination));
    std::error_code code;
    const auto there = std::filesystem::symlink_status(to, code).type();
    if (there == std::filesystem::file_type::none) throwIf(code);
    if (there != std::filesystem::file_type::not_found) throw POSIXError(EEXIST);
    // Copying a directory into itself would only end at the system's limit of path lengths.
    if (isWithin(to, from)) throw POSIXError(EINVAL);
    detail::copyItem(from.string(), to.string());
  }
  void moveItem(const URL& source, const URL& destination) override {
    const std::string from = filePath(source);
    const std::string to = filePath(destination);
    if (renameWithoutReplacing(from.c_str(), to.c_str()) == 0) return;
    if (errno != EXDEV) throw POSIXError::last();
    copyItem(source, destination);
    removeItem(source);
  }
  void removeItem(const URL& url) override { detail::removeItem(filePath(url)); }

  void setIsExcludedFromBackup(bool isExcluded, const URL& url) override {
    const std::string path = filePath(url);
    const bool hasTagFile = isFolder(path);
    if (hasTagFile) setTag(isExcluded, path);
    const int result = isExcluded ? ::setxattr(path.c_str(), backupAttribute, "false", 5, 0)
                                  : ::removexattr(path.c_str(), backupAttribute);
    if (result == 0 || (!isExcluded && (errno == ENODATA || errno == ENOTSUP))) return;
    // The tag alone suffices.
    if (hasTagFile && (errno == ENOTSUP || errno == ENOSPC || errno == EDQUOT)) return;
    throw POSIXError::last();
  }
  bool isExcludedFromBackup(const URL& url) const override {
    const std::string path = filePath(url);
    if (isFolder(path) && hasTag(path)) return true;
    char value[8];
    const ssize_t size = ::getxattr(path.c_str(), backupAttribute, value, sizeof(value));
    return size == 5 && std::string_view(value, 5) == "false";
  }
  std::optional<std::int64_t> volumeAvailableCapacityForImportantUsage(const URL& url) const override {
    struct statvfs volume{};
    if (::statvfs(filePath(url).c_str(), &volume) != 0) throw POSIXError::last();
    if (volume.f_blocks == 0) return std::nullopt;  // A volume without a limit, or without files of its own.
    std::int64_t bytes = 0;
    if (__builtin_mul_overflow(volume.f_bavail, volume.f_frsize, &bytes)) {
      return std::numeric_limits<std::int64_t>::max();
    }
    return bytes;
  }

  URL homeDirectoryForCurrentUser() const override { return folderURL(homePath()); }
  URL temporaryDirectory() const override { return folderURL(pathVariable("TMPDIR").value_or("/tmp")); }
  std::vector<URL> applicationSupportDirectories() const override {
    if (const auto folder = pathVariable("XDG_DATA_HOME")) return {folderURL(*folder)};
    return {folderURL(homePath() + "/.local/share")};
  }
  std::optional<URL> urlForUbiquityContainer(const std::optional<std::string>& /*identifier*/) const override {
    return std::nullopt;
  }

 private:
  static std::string homePath() {
    if (auto home = pathVariable("HOME")) return *std::move(home);
    passwd entry{};
    passwd* found = nullptr;
    std::vector<char> buffer(std::size_t{16} * 1024);
    ::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found);
    return found != nullptr && found->pw_dir[0] == '/' ? found->pw_dir : "/";
  }

  static void setTag(bool isExcluded, const std::string& folder) {
    const std::string path = (folder + '/').append(tagName);
    if (hasTag(folder)) {
      if (!isExcluded && ::unlink(path.c_str()) != 0) throw POSIXError::last();
      return;
    }
    if (!isExcluded) return;
    FileHandle tag(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
    if (tag.fileDescriptor() < 0) throw POSIXError::last();
    constexpr std::string_view rest = "\n# This folder needs no backup. See https://bford.info/cachedir/\n";
    const std::string text = std::string(tagSignature).append(rest);
    if (const int error = writeAll(tag.fileDescriptor(), text)) {
      ::unlink(path.c_str());
      throw POSIXError(error);
    }
    tag.close();
  }
};

}  // namespace

}  // namespace Tessaly::inline v1::detail

namespace Tessaly::inline v1 {

FileManager& FileManager::system() noexcept {
  static auto& manager = *new detail::LinuxFileManager;
  return manager;
}

}  // namespace Tessaly::inline v1
