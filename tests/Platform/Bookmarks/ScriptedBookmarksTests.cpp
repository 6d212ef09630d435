// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cerrno>
#include <functional>
#include <string_view>
#include <thread>
#include <vector>

#include "Tessaly/Core/Foundation/POSIXError.hpp"
#include "Tessaly/Platform/Testing/ScriptedBookmarks.hpp"

namespace Tessaly {
namespace {

const URL song = URL::fileURLWithPath("/music/a song.ogg");
const URL other = URL::fileURLWithPath("/music/other.ogg");

int codeOf(const std::function<void()>& body) {
  try {
    body();
    return 0;
  } catch (const POSIXError& error) {
    return error.code();
  }
}

Data dataOf(ScriptedBookmarks& bookmarks, const URL& url) {
  return bookmarks.bookmarkData(url, BookmarkCreationOptions::none);
}
ResolvedBookmark resolved(ScriptedBookmarks& bookmarks, const Data& data) {
  return bookmarks.resolve(data, BookmarkResolutionOptions::none);
}

TEST(ScriptedBookmarks, MovedFilesAreStale) {
  ScriptedBookmarks bookmarks;
  bookmarks.add(song);
  const Data data = dataOf(bookmarks, song);
  EXPECT_EQ(resolved(bookmarks, data).url, song);
  EXPECT_FALSE(resolved(bookmarks, data).isStale);
  bookmarks.move(song, other);
  EXPECT_EQ(resolved(bookmarks, data).url, other);
  EXPECT_TRUE(resolved(bookmarks, data).isStale);
}

TEST(ScriptedBookmarks, NeverResolveToAnotherFile) {
  ScriptedBookmarks bookmarks;
  bookmarks.add(song);
  const Data data = dataOf(bookmarks, song);
  bookmarks.remove(song);
  bookmarks.add(song);
  EXPECT_EQ(codeOf([&] { resolved(bookmarks, data); }), ENOENT);
  bookmarks.add(other);
  const Data replaced = dataOf(bookmarks, song);
  bookmarks.move(other, song);
  EXPECT_EQ(codeOf([&] { resolved(bookmarks, replaced); }), ENOENT);
}

TEST(ScriptedBookmarks, MissingFilesAndForeignDataAreRefused) {
  ScriptedBookmarks bookmarks;
  EXPECT_EQ(codeOf([&] { static_cast<void>(dataOf(bookmarks, song)); }), ENOENT);
  for (const char* data : {"", "1", "x /music/song.ogg", "99999999999 /music"}) {
    EXPECT_EQ(codeOf([&] { resolved(bookmarks, Data(std::string_view(data))); }), EINVAL) << data;
  }
}

TEST(ScriptedBookmarks, ThrowTheScriptedFailure) {
  ScriptedBookmarks bookmarks;
  bookmarks.add(song);
  const Data data = dataOf(bookmarks, song);
  bookmarks.failure = EACCES;
  EXPECT_EQ(codeOf([&] { static_cast<void>(dataOf(bookmarks, song)); }), EACCES);
  EXPECT_EQ(codeOf([&] { resolved(bookmarks, data); }), EACCES);
}

TEST(ScriptedBookmarks, ReplaceTheSystemsWhileInstalled) {
  ScriptedBookmarks bookmarks;
  bookmarks.add(song);
  {
    const BookmarksInstallation installation(bookmarks);
    const Data data = Bookmarks::shared().bookmarkData(song, BookmarkCreationOptions::withSecurityScope);
    EXPECT_EQ(Bookmarks::shared().resolve(data, BookmarkResolutionOptions::withSecurityScope).url, song);
  }
  EXPECT_EQ(bookmarks.creations, std::vector{BookmarkCreationOptions::withSecurityScope});
  EXPECT_EQ(bookmarks.resolutions, std::vector{BookmarkResolutionOptions::withSecurityScope});
  EXPECT_NE(&Bookmarks::shared(), &bookmarks);
}

TEST(ScriptedBookmarks, AreReadWhileAnotherThreadUsesThem) {
  ScriptedBookmarks bookmarks;
  bookmarks.add(song);
  std::jthread user([&] {
    for (int call = 0; call < 100; ++call) resolved(bookmarks, dataOf(bookmarks, song));
  });
  while (bookmarks.snapshot().resolutions.size() < 100) bookmarks.move(song, song);
  EXPECT_EQ(bookmarks.snapshot().creations, std::vector(100, BookmarkCreationOptions::none));
}

}  // namespace
}  // namespace Tessaly
