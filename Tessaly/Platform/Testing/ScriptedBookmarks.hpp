// SPDX-License-Identifier: MIT
// Component: Tessaly::Testing
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Tessaly/Core/Locks/UnfairLock.hpp"
#include "Tessaly/Platform/Bookmarks/Bookmarks.hpp"

namespace Tessaly::inline v1 {

/// Bookmarks of scripted files, which need not exist on the disk. A test makes, moves and removes these files.
///
/// Thread contract: thread-safe functions. The members `creations` and `resolutions` are for tests whose calls all come
/// from one thread; other tests read `snapshot()`. Set `failure` while no other thread uses these bookmarks.
///
///     ScriptedBookmarks bookmarks;
///     bookmarks.add(URL::fileURLWithPath("/music/song.ogg"));
///     const BookmarksInstallation installation(bookmarks);
class TESSALY_EXPORT ScriptedBookmarks final : public Bookmarks {
 public:
  /// The calls until one instant.
  struct Snapshot {
    std::vector<BookmarkCreationOptions> creations;
    std::vector<BookmarkResolutionOptions> resolutions;
  };

  ~ScriptedBookmarks() override;
  /// A copy of `creations` and `resolutions`, also while other threads use these bookmarks.
  [[nodiscard]] Snapshot snapshot() const;

  /// Adds a scripted file. The new file replaces a scripted file with the same path. Bookmark data of the replaced file
  /// no longer resolves.
  void add(const URL& url);
  /// Moves a scripted file. Replaces a scripted file at the destination. Does nothing if no scripted file is at `from`.
  void move(const URL& from, const URL& to);
  void remove(const URL& url);

  /// Throws `POSIXError` with `ENOENT` if no scripted file has this path, even if the disk has such a file.
  [[nodiscard]] Data bookmarkData(const URL& url, BookmarkCreationOptions options) override;
  /// The result is stale if the file's path is not the path for which the data was made.
  [[nodiscard]] ResolvedBookmark resolve(const Data& data, BookmarkResolutionOptions options) override;

  /// While this error code is set, `bookmarkData` and `resolve` throw a `POSIXError` with the code.
  std::optional<int> failure;
  /// The options of the calls of `bookmarkData`, in order.
  std::vector<BookmarkCreationOptions> creations;
  /// The options of the calls of `resolve`, in order.
  std::vector<BookmarkResolutionOptions> resolutions;

 private:
  mutable UnfairLock lock_;
  /// Maps each file's path to the number that identifies the file.
  std::map<std::string, int> files_;
  int lastNumber_ = 0;
};

}  // namespace Tessaly::inline v1
