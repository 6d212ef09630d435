// SPDX-License-Identifier: MIT
// Component: Tessaly::Testing
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Tessaly/Platform/Bookmarks/Bookmarks.hpp"

namespace Tessaly::inline v1 {

/// Bookmarks of files that need not exist: a test says which there are, and where they go.
///
/// Thread contract: thread-compatible.
///
///     ScriptedBookmarks bookmarks;
///     bookmarks.add(URL::fileURLWithPath("/music/song.ogg"));
///     const BookmarksInstallation installation(bookmarks);
class TESSALY_EXPORT ScriptedBookmarks final : public Bookmarks {
 public:
  ~ScriptedBookmarks() override;

  /// Makes a file, in the place of one that was there.
  void add(const URL& url);
  /// Moves a file, if it is there, onto one that is there, too.
  void move(const URL& from, const URL& to);
  void remove(const URL& url);

  /// `ENOENT` for a file that is not there.
  [[nodiscard]] Data bookmarkData(const URL& url, BookmarkCreationOptions options) override;
  /// Stale if the file is elsewhere than when the data was made.
  [[nodiscard]] ResolvedBookmark resolve(const Data& data, BookmarkResolutionOptions options) override;

  /// The system's error code that every call throws while it is set.
  std::optional<int> failure;
  /// With which options data was made and resolved, in order.
  std::vector<BookmarkCreationOptions> creations;
  std::vector<BookmarkResolutionOptions> resolutions;

 private:
  /// The number of each file, by its path.
  std::map<std::string, int> files_;
  int lastNumber_ = 0;
};

}  // namespace Tessaly::inline v1
