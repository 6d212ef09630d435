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

/// Whether `createDirectory` also makes missing parent directories (`created`), or fails without them (`required`).
enum class IntermediateDirectories : std::uint8_t { required, created };

/// The operations that a backend provides on the file system.
///
/// The nearest standard facility is `std::filesystem`. It throws other errors, and has no events, no marks for backups
/// and no directories of an application. All functions that take a URL, except those for security-scoped access, throw
/// `URLError` (`unsupportedURL`) if the URL is not a file URL. They throw `POSIXError` when the system refuses. All
/// functions except `makeFileSystemObjectSource` may block on the file system.
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

  /// The system's file manager, or the one that a `FileManagerInstallation` put in its place. The library never
  /// destroys the result.
  [[nodiscard]] static FileManager& default_() noexcept;
  /// The system's file manager, even while another one is installed.
  [[nodiscard]] static FileManager& system() noexcept;
  /// The place that `BackendInstallation` writes to.
  [[nodiscard]] static InstalledBackend<FileManager>& installed() noexcept;

  /// Asks for access to a file that the user chose. Returns whether the access is granted. The caller must balance
  /// each call, even after a refusal, with one call of `stopAccessingSecurityScopedResource`. The system's file manager
  /// always grants the access.
  virtual bool startAccessingSecurityScopedResource(const URL& url) = 0;
  virtual void stopAccessingSecurityScopedResource(const URL& url) = 0;

  [[nodiscard]] virtual FileHandle openForReading(const URL& file) = 0;
  /// A source for the open file of the descriptor. The descriptor must stay open until the source's cancel handler is
  /// called.
  [[nodiscard]] virtual std::shared_ptr<FileSystemObjectSource> makeFileSystemObjectSource(int descriptor,
                                                                                           FileSystemEvent mask,
                                                                                           OS_dispatch_queue queue) = 0;
  /// A source for the file that a path leads to, through all its symbolic links. `onPossibleChange` is the wake
  /// handler of the source: it is called when there may be a change to take.
  [[nodiscard]] virtual std::unique_ptr<FileChangeSource> makeFileChangeSource(
      const URL& file, std::function<void()> onPossibleChange) = 0;

  /// A source for the contents of a directory. The path may lead to the directory through symbolic links.
  /// `onPossibleChange` is the wake handler of the source: it is called when there may be changes to take.
  [[nodiscard]] virtual std::unique_ptr<DirectorySource> makeDirectorySource(
      const URL& directory, DirectoryDepth depth, std::function<void()> onPossibleChange) = 0;
  /// The entries of a directory, in no particular order, without "." and "..". An entry that is removed during the call
  /// is omitted. An entry whose attributes cannot be read is listed with its type, the size 0 and the modification date
  /// 1970-01-01. An example is the mount point of a FUSE volume whose program has ended. Throws `POSIXError`.
  [[nodiscard]] virtual std::vector<DirectoryEntry> contentsOfDirectory(const URL& directory) const = 0;

  /// Whether a path leads to a file, a directory or another item. False for a dangling link. Also false after an error,
  /// such as a missing permission.
  [[nodiscard]] virtual bool fileExists(const std::string& path) const noexcept = 0;
  [[nodiscard]] virtual Data contents(const URL& file) const = 0;
  /// Replaces the contents of the file, or creates the file. Writes in place, without a temporary file.
  virtual void write(const Data& data, const URL& file) = 0;
  /// Makes a directory. With `created`, also makes its missing parent directories, and a directory that exists already
  /// is not an error.
  virtual void createDirectory(const URL& folder, IntermediateDirectories intermediate) = 0;
  /// Copies a file, a symbolic link, or a directory with all its contents. The copy of a link is a link. Keeps times
  /// and modes, if the destination's volume can. Throws `POSIXError`: `EEXIST` if the destination exists, `EINVAL` if a
  /// directory would be copied into itself, `ENOTSUP` for items of other kinds. Throws `EBUSY` if a file was written
  /// during each of three attempts to read it. Reads each file to its end, even if the file reports a smaller size.
  /// After an error, the incomplete copy is removed.
  virtual void copyItem(const URL& source, const URL& destination) = 0;
  /// Moves or renames an item. Throws `POSIXError`, for example `EEXIST` if the destination exists. Some volumes, such
  /// as NFS, have no rename that fails if the destination exists. There, the function first checks the destination, and
  /// then renames the item. A file that another process creates in between is replaced. If the destination is on
  /// another volume, the function copies the item like `copyItem`, and then removes the original.
  virtual void moveItem(const URL& source, const URL& destination) = 0;
  /// Removes a file, a link, or a directory with all its contents. Follows no link.
  virtual void removeItem(const URL& url) = 0;

  /// Excludes a file or directory from backups, or includes it again. A directory is marked by a `CACHEDIR.TAG` file
  /// and, if the volume supports extended attributes, by the attribute `user.xdg.robots.backup`. A file is marked by
  /// the attribute only.
  virtual void setIsExcludedFromBackup(bool isExcluded, const URL& url) = 0;
  [[nodiscard]] virtual bool isExcludedFromBackup(const URL& url) const = 0;
  /// The number of bytes that an ordinary user may still write to the volume of the URL. Nothing if the volume does not
  /// report the number.
  [[nodiscard]] virtual std::optional<std::int64_t> volumeAvailableCapacityForImportantUsage(const URL& url) const = 0;

  [[nodiscard]] virtual URL homeDirectoryForCurrentUser() const = 0;
  /// The directory for temporary files: `TMPDIR` if it is an absolute path, otherwise "/tmp".
  [[nodiscard]] virtual URL temporaryDirectory() const = 0;
  /// The user's directories for application data. Applications write to the first one: `XDG_DATA_HOME` if it is an
  /// absolute path, otherwise "~/.local/share".
  [[nodiscard]] virtual std::vector<URL> applicationSupportDirectories() const = 0;
  /// The directory of a cloud container, or of the application's own container if no identifier is given. Nothing if
  /// there is no such container. The system's file manager always returns nothing.
  [[nodiscard]] virtual std::optional<URL> urlForUbiquityContainer(
      const std::optional<std::string>& containerIdentifier) const = 0;

 protected:
  FileManager() noexcept = default;
};

/// Replaces `FileManager::default_()` for a scope.
using FileManagerInstallation = BackendInstallation<FileManager>;

}  // namespace Tessaly::inline v1
