// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Bookmarks/Bookmarks.hpp"

namespace Tessaly {

void showBookmarks(const URL& file) {
  Data token = Bookmarks::shared().bookmarkData(file, BookmarkCreationOptions::withSecurityScope);
  URL again = Bookmarks::shared().resolve(token, BookmarkResolutionOptions::withSecurityScope).url;
}

void showBookmarksInstallation(Bookmarks& refusing, void (*check)()) {
  const BookmarksInstallation installation(refusing);
  check();
}

}  // namespace Tessaly
