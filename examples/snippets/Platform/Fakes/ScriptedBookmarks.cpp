// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Fakes/ScriptedBookmarks.hpp"

namespace Tessaly {

void installBookmarks() {
  ScriptedBookmarks bookmarks;
  bookmarks.add(URL::fileURLWithPath("/music/song.ogg"));
  const BookmarksInstallation installation(bookmarks);
}

}  // namespace Tessaly
