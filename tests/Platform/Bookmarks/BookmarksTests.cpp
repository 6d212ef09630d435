// SPDX-License-Identifier: MIT
#include <dirent.h>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <string>
#include <utility>

#include "Tessaly/Core/Foundation/POSIXError.hpp"
#include "Tessaly/Core/Foundation/URLError.hpp"
#include "Tessaly/Platform/Bookmarks/Bookmarks.hpp"
#include "tests/Support/TemporaryFolder.hpp"

namespace {

/// Whether directories are listed without the types of their entries, as by some file systems.
bool hidesTypes = false;
int hiddenTypes = 0;
/// Whether directories are listed without inode numbers, as by file systems in user space.
bool hidesInodes = false;

}  // namespace

extern "C" dirent* readdir(DIR* directory) {
  static const auto systems = reinterpret_cast<dirent* (*)(DIR*)>(::dlsym(RTLD_NEXT, "readdir"));
  dirent* const entry = systems(directory);
  if (entry != nullptr && hidesTypes) {
    entry->d_type = DT_UNKNOWN;
    ++hiddenTypes;
  }
  if (entry != nullptr && hidesInodes) entry->d_ino = 0xFFFF'FFFF;
  return entry;
}

namespace Tessaly {
namespace {

class BookmarksTest : public testing::Test {
 protected:
  [[nodiscard]] std::string path(std::string_view name) const { return folder.path() + "/" + std::string(name); }
  void put(std::string_view name, std::string_view text) const { std::ofstream(path(name)) << text; }
  [[nodiscard]] Data bookmark(std::string_view name) {
    return bookmarks.bookmarkData(URL::fileURLWithPath(path(name)), BookmarkCreationOptions::withSecurityScope);
  }
  ResolvedBookmark resolve(const Data& data) {
    return bookmarks.resolve(data, BookmarkResolutionOptions::withSecurityScope);
  }
  int failureOf(const Data& data) {
    try {
      static_cast<void>(resolve(data));
    } catch (const POSIXError& error) {
      return static_cast<int>(error.code());
    }
    return 0;
  }

  Tests::TemporaryFolder folder;
  Bookmarks& bookmarks = Bookmarks::shared();
};

TEST_F(BookmarksTest, ResolveToTheFile) {
  put("a b%.txt", "");
  const ResolvedBookmark found = resolve(bookmark("a b%.txt"));
  EXPECT_EQ(found.url.path(), path("a b%.txt"));
  EXPECT_FALSE(found.isStale);
}

TEST_F(BookmarksTest, RenamedFileIsFoundAndStale) {
  put("a", "");
  const Data data = bookmark("a");
  std::filesystem::rename(path("a"), path("b"));
  const ResolvedBookmark found = resolve(data);
  EXPECT_EQ(found.url.path(), path("b"));
  EXPECT_TRUE(found.isStale);
}

TEST_F(BookmarksTest, MovedFileIsFound) {
  std::filesystem::create_directories(path("one/two/three"));
  put("one/two/a", "");
  const Data data = bookmark("one/two/a");
  std::filesystem::rename(path("one/two/a"), path("one/two/three/a"));
  EXPECT_EQ(resolve(data).url.path(), path("one/two/three/a"));
  std::filesystem::rename(path("one/two/three/a"), path("one/x"));
  EXPECT_EQ(resolve(data).url.path(), path("one/x"));
  std::filesystem::rename(path("one/x"), path("one/two/a"));
  std::filesystem::rename(path("one"), path("other"));
  EXPECT_EQ(resolve(data).url.path(), path("other/two/a"));
}

TEST_F(BookmarksTest, MovedFileIsFoundWhereListingsHaveNoTypes) {
  std::filesystem::create_directories(path("one/two"));
  put("a", "");
  const Data data = bookmark("a");
  std::filesystem::rename(path("a"), path("one/two/a"));
  hidesTypes = true;
  EXPECT_EQ(resolve(data).url.path(), path("one/two/a"));
  hidesTypes = false;
  EXPECT_GT(hiddenTypes, 0);
}

TEST_F(BookmarksTest, MovedFileIsFoundWhereListingsHaveNoInodes) {
  std::filesystem::create_directories(path("one/two"));
  put("a", "");
  put("one/other", "");
  const Data data = bookmark("a");
  std::filesystem::rename(path("a"), path("one/two/a"));
  hidesInodes = true;
  EXPECT_EQ(resolve(data).url.path(), path("one/two/a"));
  hidesInodes = false;
}

TEST_F(BookmarksTest, RenamedDirectoryIsFound) {
  std::filesystem::create_directories(path("folder"));
  const Data data = bookmark("folder");
  EXPECT_EQ(resolve(data).url.absoluteString(), "file://" + path("folder") + "/");
  std::filesystem::rename(path("folder"), path("renamed"));
  EXPECT_EQ(resolve(data).url.path(), path("renamed"));
}

/// Spins until the clock of the file times goes on, at most 10 ms. Files that are made later have another time.
void waitForTheNextFileTime() {
  timespec before{};
  timespec now{};
  ::clock_gettime(CLOCK_REALTIME_COARSE, &before);
  do {
    ::clock_gettime(CLOCK_REALTIME_COARSE, &now);
  } while (now.tv_sec == before.tv_sec && now.tv_nsec == before.tv_nsec);
}

TEST_F(BookmarksTest, NeverResolveToAnotherFileOfThatName) {
  put("a", "mine");
  const Data data = bookmark("a");
  waitForTheNextFileTime();  // Another process may get the inode number at once.
  put("b", "another");
  std::filesystem::rename(path("b"), path("a"));
  EXPECT_EQ(failureOf(data), ENOENT);
  std::filesystem::remove(path("a"));
  EXPECT_EQ(failureOf(data), ENOENT);
  std::filesystem::create_directory(path("a"));
  EXPECT_EQ(failureOf(data), ENOENT);
}

TEST_F(BookmarksTest, BookmarkOfALinkIsOfTheLinkItself) {
  std::filesystem::create_symlink("nowhere", path("link"));
  EXPECT_EQ(resolve(bookmark("link")).url.path(), path("link"));
}

TEST_F(BookmarksTest, MissingFilesAndOtherURLsAreRefused) {
  EXPECT_THROW(static_cast<void>(bookmark("missing")), POSIXError);
  EXPECT_THROW(
      static_cast<void>(bookmarks.bookmarkData(*URL::from("https://example.com"), BookmarkCreationOptions::none)),
      URLError);
}

TEST_F(BookmarksTest, DamagedDataIsRefused) {
  put("a", "");
  const Data data = bookmark("a");
  EXPECT_EQ(failureOf(Data()), EINVAL);
  for (std::int64_t size = 0; size < data.count(); ++size) {
    EXPECT_EQ(failureOf(Data(data.bytes().first(static_cast<std::size_t>(size)))), EINVAL) << size;
    Data flipped = data;
    flipped.set(size, flipped[size] ^ 0x10);
    EXPECT_EQ(failureOf(flipped), EINVAL) << size;
  }
  EXPECT_EQ(failureOf(Data(Data::Bytes(1 << 20, 'x'))), EINVAL);
}

void put(Data::Bytes& bytes, std::uint64_t value, std::size_t at) {
  bytes.resize(std::max(bytes.size(), at + 8));
  for (std::size_t i = 0; i < 8; ++i) bytes[at + i] = static_cast<std::uint8_t>(value >> 8 * i);
}

/// The token with these bytes and their checksum.
Data tokenOf(Data::Bytes bytes) {
  std::uint64_t hash = 0xCBF29CE484222325;
  for (const std::uint8_t byte : bytes) hash = (hash ^ byte) * 0x100000001B3;
  put(bytes, hash, bytes.size());
  return Data(std::move(bytes));
}

/// The token with another number for the volume, the file or the time of creation.
Data withNumber(const Data& token, std::size_t place, std::uint64_t number) {
  Data::Bytes bytes(token.begin(), token.end() - 8);
  put(bytes, number, 5 + 8 * place);
  return tokenOf(std::move(bytes));
}

/// The token with another path.
Data withPath(const Data& token, std::string_view path) {
  Data::Bytes bytes(token.begin(), token.begin() + 5 + 24);
  bytes.insert(bytes.end(), path.begin(), path.end());
  return tokenOf(std::move(bytes));
}

TEST_F(BookmarksTest, DocumentPathThatLeavesTheDocumentsIsRefused) {
  put("a", "");
  const Data data = bookmark("a");
  EXPECT_EQ(resolve(withPath(data, path("a"))).url.path(), path("a"));
  for (const char* const wrong : {"..", ".", "../a", "1/../../a", "./a", "1//a"}) {
    EXPECT_EQ(failureOf(withPath(data, wrong)), EINVAL) << wrong;
  }
}

TEST_F(BookmarksTest, RenumberedVolumeGivesTheFileAsStale) {
  put("a", "");
  const Data data = withNumber(bookmark("a"), 0, 0xFFFF'0000'0001);
  EXPECT_EQ(resolve(data).url.path(), path("a"));
  EXPECT_TRUE(resolve(data).isStale);
  std::filesystem::rename(path("a"), path("b"));
  EXPECT_EQ(resolve(data).url.path(), path("b"));
  put("a", "another");
  EXPECT_EQ(resolve(data).url.path(), path("b"));
}

TEST_F(BookmarksTest, BookmarkOfAnotherMachineFails) {
  put("a", "");
  const Data data = bookmark("a");
  EXPECT_EQ(failureOf(withNumber(data, 1, 1)), ENOENT) << "another file there has the name";
  EXPECT_EQ(failureOf(withNumber(data, 2, 1'000'000'000'000'000'000)), ENOENT) << "it was made at another moment";
  EXPECT_EQ(failureOf(withNumber(withNumber(data, 0, 7), 2, 0)), ENOENT) << "the moment is not known";
  EXPECT_EQ(resolve(withNumber(data, 0, 0)).url.path(), path("a"));
}

TEST_F(BookmarksTest, InstallationReplacesThemForItsScope) {
  struct Refusing : Bookmarks {
    Data bookmarkData(const URL&, BookmarkCreationOptions) override { throw POSIXError(EPERM); }
    ResolvedBookmark resolve(const Data&, BookmarkResolutionOptions) override { throw POSIXError(EPERM); }
  } refusing;
  {
    const BookmarksInstallation installation(refusing);
    EXPECT_EQ(&Bookmarks::shared(), &refusing);
  }
  EXPECT_EQ(&Bookmarks::shared(), &bookmarks);
}

}  // namespace
}  // namespace Tessaly
