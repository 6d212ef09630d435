// SPDX-License-Identifier: MIT
// Component: Tessaly::Files
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Tessaly/Core/Base/BackendInstallation.hpp"
#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Foundation/Data.hpp"
#include "Tessaly/Core/Foundation/URL.hpp"
#include "Tessaly/Core/Tasks/OS_dispatch_queue.hpp"
#include "Tessaly/Platform/Files/DirectoryEntry.hpp"
#include "Tessaly/Platform/Files/DirectorySource.hpp"
#include "Tessaly/Platform/Files/FileChange.hpp"
#include "Tessaly/Platform/Files/FileHandle.hpp"
#include "Tessaly/Platform/Files/FileSystemEvent.hpp"
#include "Tessaly/Platform/Files/FileSystemObjectSource.hpp"

namespace Tessaly::inline v1 {

/// Whether the missing folders above a new one are made too.
enum class IntermediateDirectories : std::uint8_t { required, created };

/// The file system, as far as this library and its hosts need it behind a seam.
///
/// The nearest standard facility is `std::filesystem`, which throws other errors and knows neither events nor backups
/// nor an application's folders. Functions that take a URL throw `URLError` (`unsupportedURL`) unless it is that of a
/// file, and `POSIXError` for what the system refuses. All but the sources block on the file system.
///
/// Thread contract: thread-safe.
///
///     FileManager& files = FileManager::default_();
///     if (!files.fileExists(folder.path())) files.createDirectory(folder, IntermediateDirectories::created);
class TESSALY_EXPORT FileManager {
 public:
  virtual ~FileManager();
  FileManager(const FileManager&) = delete;
  FileManager& operator=(const FileManager&) = delete;

  /// The system's, or what a `FileManagerInstallation` put in its place. Never destroyed.
  [[nodiscard]] static FileManager& default_() noexcept;
  /// The system's, whatever is installed in its place.
  [[nodiscard]] static FileManager& system() noexcept;
  /// The place that `BackendInstallation` writes to.
  [[nodiscard]] static InstalledBackend<FileManager>& installed() noexcept;

  /// Asks for access to a file that the user chose; whether it is granted. Each call is balanced by one of
  /// `stopAccessingSecurityScopedResource`. Where there is no sandbox it is always granted.
  virtual bool startAccessingSecurityScopedResource(const URL& url) = 0;
  virtual void stopAccessingSecurityScopedResource(const URL& url) = 0;

  [[nodiscard]] virtual FileHandle openForReading(const URL& file) = 0;
  /// A source for the file that the descriptor, which must stay open until its cancel handler, is of.
  [[nodiscard]] virtual std::shared_ptr<FileSystemObjectSource> makeFileSystemObjectSource(int descriptor,
                                                                                           FileSystemEvent mask,
                                                                                           OS_dispatch_queue queue) = 0;
  /// A source for what a path leads to, through all its symbolic links. The handler is called when there may be a
  /// change to take.
  [[nodiscard]] virtual std::unique_ptr<FileChangeSource> makeFileChangeSource(
      const URL& file, std::function<void()> onPossibleChange) = 0;

  /// A source for the contents of a directory, to which the path may lead through symbolic links. The handler is called
  /// when there may be changes to take.
  [[nodiscard]] virtual std::unique_ptr<DirectorySource> makeDirectorySource(
      const URL& directory, DirectoryDepth depth, std::function<void()> onPossibleChange) = 0;
  /// The entries of a directory, in no particular order, without "." and "..". An entry that is removed meanwhile is
  /// left out. Throws `POSIXError`.
  [[nodiscard]] virtual std::vector<DirectoryEntry> contentsOfDirectory(const URL& directory) const = 0;

  /// Whether a path leads to something. False for a dangling link.
  [[nodiscard]] virtual bool fileExists(const std::string& path) const noexcept = 0;
  [[nodiscard]] virtual Data contents(const URL& file) const = 0;
  /// Writes in place.
  virtual void write(const Data& data, const URL& file) = 0;
  /// An existing folder is no error where intermediate ones are created.
  virtual void createDirectory(const URL& folder, IntermediateDirectories intermediate) = 0;
  /// Copies a file, a link as a link, or a folder with all that it holds; times and modes are kept. Throws `EEXIST`
  /// when the destination exists, `EINVAL` when a directory would be copied into itself, and `EBUSY` when a file was
  /// written during each of three attempts to read it. A file is read to its end, whatever size it claims.
  virtual void copyItem(const URL& source, const URL& destination) = 0;
  /// Throws `EEXIST` when the destination exists.
  virtual void moveItem(const URL& source, const URL& destination) = 0;
  /// Removes a file, a link, or a folder with all that it holds. Follows no link.
  virtual void removeItem(const URL& url) = 0;

  /// Marks a file or folder as not worth a backup, or takes the mark away. A folder's mark is a `CACHEDIR.TAG` file
  /// and, where the volume has attributes, `user.xdg.robots.backup`; a file's is the attribute only.
  virtual void setIsExcludedFromBackup(bool isExcluded, const URL& url) = 0;
  [[nodiscard]] virtual bool isExcludedFromBackup(const URL& url) const = 0;
  /// Bytes that an ordinary user may still write to the volume of the URL; nothing where it does not tell.
  [[nodiscard]] virtual std::optional<std::int64_t> volumeAvailableCapacityForImportantUsage(const URL& url) const = 0;

  [[nodiscard]] virtual URL homeDirectoryForCurrentUser() const = 0;
  /// Where temporary files go: `TMPDIR`, or else "/tmp".
  [[nodiscard]] virtual URL temporaryDirectory() const = 0;
  /// The user's folders for application data, the first one for writing: `XDG_DATA_HOME`, or else "~/.local/share".
  [[nodiscard]] virtual std::vector<URL> applicationSupportDirectories() const = 0;
  /// The folder of a cloud container, the application's own without an identifier; nothing where there is none.
  [[nodiscard]] virtual std::optional<URL> urlForUbiquityContainer(
      const std::optional<std::string>& containerIdentifier) const = 0;

 protected:
  FileManager() noexcept = default;
};

/// Replaces `FileManager::default_()` for a scope.
using FileManagerInstallation = BackendInstallation<FileManager>;

}  // namespace Tessaly::inline v1
