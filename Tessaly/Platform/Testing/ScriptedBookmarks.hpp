// SPDX-License-Identifier: MIT
// Component: Tessaly::Testing
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Tessaly/Platform/Bookmarks/Bookmarks.hpp"

namespace Tessaly::inline v1 {

/// Bookmarks of scripted files, which need not exist on the disk. A test makes, moves and removes these files.
///
/// Thread contract: thread-compatible.
///
///     ScriptedBookmarks bookmarks;
///     bookmarks.add(URL::fileURLWithPath("/music/song.ogg"));
///     const BookmarksInstallation installation(bookmarks);
class TESSALY_EXPORT ScriptedBookmarks final : public Bookmarks {
 public:
  ~ScriptedBookmarks() override;

  /// Makes a file. Replaces an existing file.
  void add(const URL& url);
  /// Moves a file if the file exists. Replaces an existing file at the destination.
  void move(const URL& from, const URL& to);
  void remove(const URL& url);

  /// Throws `POSIXError` with `ENOENT` for a file that does not exist.
  [[nodiscard]] Data bookmarkData(const URL& url, BookmarkCreationOptions options) override;
  /// The result is stale if the file's path is not the path for which the data was made.
  [[nodiscard]] ResolvedBookmark resolve(const Data& data, BookmarkResolutionOptions options) override;

  /// While this error code is set, `bookmarkData` and `resolve` throw a `POSIXError` with the code.
  std::optional<int> failure;
  /// The options of the calls of `bookmarkData` and of the calls of `resolve`, each in order.
  std::vector<BookmarkCreationOptions> creations;
  std::vector<BookmarkResolutionOptions> resolutions;

 private:
  /// The number of each file, by its path.
  std::map<std::string, int> files_;
  int lastNumber_ = 0;
};

}  // namespace Tessaly::inline v1
