// SPDX-License-Identifier: MIT
// Component: Tessaly::Bookmarks
#pragma once

#include <cstdint>
#include <memory>

#include "Tessaly/Core/Base/BackendInstallation.hpp"
#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Foundation/Data.hpp"
#include "Tessaly/Core/Foundation/URL.hpp"

namespace Tessaly::inline v1 {

/// The options for making bookmark data. The system's bookmarks ignore them, because bookmark data grants no access.
enum class BookmarkCreationOptions : std::uint32_t { none = 0, withSecurityScope = 2048 };
/// The options for resolving bookmark data. The system's bookmarks ignore them.
enum class BookmarkResolutionOptions : std::uint32_t { none = 0, withSecurityScope = 1024 };

/// The file that bookmark data leads to.
struct ResolvedBookmark {
  URL url;
  /// Whether the caller should make new data. True if the file was not at the path in the data and a search found it.
  /// Also true if the device number of its volume has changed.
  bool isStale = false;
};

/// Makes and resolves bookmark data. The data leads to a file even after the file was renamed, or moved to a directory
/// that `resolve` searches.
///
/// The data contains a path and the identity of the file: its volume, its inode number and its time of creation. Data
/// resolves to that same file or to no file, but never to another file with the same name. On a volume without times of
/// creation, a later file with the same inode number counts as the same file.
///
/// In a Flatpak sandbox, a document is a file or directory that the user has granted to the application. The data of a
/// document contains the document's identifier. The portal `org.freedesktop.portal.Documents` decides which file the
/// document is. See `DocumentError` for the failures.
///
/// Thread contract: thread-safe.
///
///     Data token = Bookmarks::shared().bookmarkData(file, BookmarkCreationOptions::withSecurityScope);
///     URL again = Bookmarks::shared().resolve(token, BookmarkResolutionOptions::withSecurityScope).url;
class TESSALY_EXPORT Bookmarks {
 public:
  virtual ~Bookmarks();
  Bookmarks(const Bookmarks&) = delete;
  Bookmarks& operator=(const Bookmarks&) = delete;

  /// The object that a `BookmarksInstallation` has installed, or else the system's object. The library never destroys
  /// the result.
  [[nodiscard]] static Bookmarks& shared() noexcept;
  /// The system's object, even while another object is installed.
  [[nodiscard]] static Bookmarks& system();
  /// The place that `BackendInstallation` writes to.
  [[nodiscard]] static InstalledBackend<Bookmarks>& installed() noexcept;

  /// Makes data for a file. Throws `POSIXError`, or `URLError` (`unsupportedURL`) if the URL is not a file URL. In a
  /// sandbox, a file on a volume in user space needs the portal of documents. Throws `DocumentError` without the
  /// portal. Blocks on the file system, and on the portal for at most 4 s.
  [[nodiscard]] virtual Data bookmarkData(const URL& url, BookmarkCreationOptions options) = 0;
  /// Finds the file of the data. If the file is not at the path in the data, searches the directory of that path with
  /// its subdirectories. If that directory is missing, begins at the nearest existing directory above. Then searches
  /// the next two directories above in the same way. The search stays on the volume and examines at most 100,000 names.
  /// For a document, searches only the document. Throws `POSIXError`: `EINVAL` for malformed data, `ENOENT` if the file
  /// is not found. Throws `DocumentError` for a document that cannot be reached. Blocks on the file system, and on the
  /// portal for at most 4 s.
  [[nodiscard]] virtual ResolvedBookmark resolve(const Data& data, BookmarkResolutionOptions options) = 0;

 protected:
  Bookmarks() noexcept = default;
};

/// Replaces `Bookmarks::shared()` for a scope.
using BookmarksInstallation = BackendInstallation<Bookmarks>;

}  // namespace Tessaly::inline v1
