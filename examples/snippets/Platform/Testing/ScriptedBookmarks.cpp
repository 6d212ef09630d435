// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Testing/ScriptedBookmarks.hpp"

namespace Tessaly {

void installBookmarks() {
  ScriptedBookmarks bookmarks;
  bookmarks.add(URL::fileURLWithPath("/music/song.ogg"));
  const BookmarksInstallation installation(bookmarks);
}

}  // namespace Tessaly
