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

/// How bookmark data is made.
enum class BookmarkCreationOptions : std::uint32_t { none = 0, withSecurityScope = 2048 };
/// How bookmark data is resolved.
enum class BookmarkResolutionOptions : std::uint32_t { none = 0, withSecurityScope = 1024 };

/// What bookmark data leads to.
struct ResolvedBookmark {
  URL url;
  /// Whether the file was not where the data says and had to be searched for, or its volume has another number than
  /// when the data was made: the data should be made anew.
  bool isStale = false;
};

/// Makes data from which a file is found again after it was renamed or moved nearby.
///
/// The data names a path and the identity of the file: its volume, its number there, and when it was made. It is
/// resolved to that very file or not at all, never to another one that has its name.
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

  /// The system's, or what a `BookmarksInstallation` put in its place. Never destroyed.
  [[nodiscard]] static Bookmarks& shared() noexcept;
  /// The system's, whatever is installed in its place.
  [[nodiscard]] static Bookmarks& system();
  /// The place that `BackendInstallation` writes to.
  [[nodiscard]] static InstalledBackend<Bookmarks>& installed() noexcept;

  /// Throws `POSIXError`, or `URLError` (`unsupportedURL`) when the URL is not that of a file. Blocks on the file
  /// system.
  [[nodiscard]] virtual Data bookmarkData(const URL& url, BookmarkCreationOptions options) = 0;
  /// Throws `POSIXError`: `EINVAL` for data that is none of ours, `ENOENT` where the file is not found. Blocks on the
  /// file system; a search looks at no more than 100,000 names.
  [[nodiscard]] virtual ResolvedBookmark resolve(const Data& data, BookmarkResolutionOptions options) = 0;

 protected:
  Bookmarks() noexcept = default;
};

/// Replaces `Bookmarks::shared()` for a scope.
using BookmarksInstallation = BackendInstallation<Bookmarks>;

}  // namespace Tessaly::inline v1
