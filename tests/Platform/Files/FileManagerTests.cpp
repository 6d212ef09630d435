// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include "Tessaly/Core/Foundation/POSIXError.hpp"
#include "Tessaly/Core/Foundation/ProcessInfo.hpp"
#include "Tessaly/Core/Foundation/URLError.hpp"
#include "Tessaly/Platform/Files/FileManager.hpp"
#include "Tessaly/Platform/Testing/ScriptedFileManager.hpp"
#include "tests/Support/ContentsOf.hpp"
#include "tests/Support/LoweredLimit.hpp"
#include "tests/Support/TemporaryFolder.hpp"

namespace Tessaly {
namespace {

using Tests::TemporaryFolder;

/// The code of the system error that the body throws, or 0.
int codeOf(const std::function<void()>& body) {
  try {
    body();
  } catch (const POSIXError& error) {
    return static_cast<int>(error.code());
  }
  return 0;
}

class FileManagerTest : public testing::Test {
 protected:
  [[nodiscard]] std::string path(std::string_view name) const { return folder.path() + "/" + std::string(name); }
  [[nodiscard]] URL url(std::string_view name) const { return URL::fileURLWithPath(path(name)); }
  void put(std::string_view name, std::string_view text) const { std::ofstream(path(name)) << text; }

  TemporaryFolder folder;
  FileManager& files = FileManager::default_();
};

TEST_F(FileManagerTest, InstallationReplacesTheDefaultForItsScope) {
  const auto scripted = std::make_shared<ScriptedFileManager>();
  {
    const FileManagerInstallation installation(scripted);
    EXPECT_EQ(&FileManager::default_(), scripted.get());
  }
  EXPECT_EQ(&FileManager::default_(), &files);
}

TEST(ScriptedFileManager, ExclusionFromBackupsHasItsOwnAnswer) {
  ScriptedFileManager files;
  std::vector<std::string> calls;
  files.excludeFromBackup = [&](const URL& url) { calls.push_back("exclude " + url.path()); };
  files.includeInBackup = [&](const URL& url) { calls.push_back("include " + url.path()); };
  files.setIsExcludedFromBackup(true, URL::fileURLWithPath("/a"));
  files.setIsExcludedFromBackup(false, URL::fileURLWithPath("/b"));
  EXPECT_EQ(calls, (std::vector<std::string>{"exclude /a", "include /b"}));
}

TEST(FileManagerDeathTest, InstallingNullStopsTheProcess) {
  EXPECT_DEATH(FileManagerInstallation(nullptr),
               "Tessaly/BackendInstallation:[0-9]+: Fatal error: There is no backend");
}

TEST_F(FileManagerTest, DirectoriesAreMadeWithAndWithoutParents) {
  EXPECT_EQ(codeOf([&] { files.createDirectory(url("a/b"), IntermediateDirectories::required); }), ENOENT);
  files.createDirectory(url("a/b"), IntermediateDirectories::created);
  EXPECT_TRUE(std::filesystem::is_directory(path("a/b")));
  files.createDirectory(url("a/b"), IntermediateDirectories::created);
  EXPECT_EQ(codeOf([&] { files.createDirectory(url("a/b"), IntermediateDirectories::required); }), EEXIST);
  put("file", "");
  EXPECT_EQ(codeOf([&] { files.createDirectory(url("file"), IntermediateDirectories::created); }), EEXIST);
  EXPECT_EQ(codeOf([&] { files.createDirectory(url("file/c"), IntermediateDirectories::created); }), ENOTDIR);
}

TEST_F(FileManagerTest, CopyKeepsModesTimesAndLinks) {
  std::filesystem::create_directories(path("from/inner"));
  put("from/inner/file", "text");
  std::filesystem::create_symlink("file", path("from/inner/link"));
  std::filesystem::permissions(path("from/inner/file"), std::filesystem::perms(0640));
  const timespec old[2]{{.tv_sec = 1'000'000'000, .tv_nsec = 0}, {.tv_sec = 1'000'000'001, .tv_nsec = 5}};
  ASSERT_EQ(::utimensat(AT_FDCWD, path("from/inner/file").c_str(), old, 0), 0);
  files.copyItem(url("from"), url("to"));
  struct stat status{};
  ASSERT_EQ(::stat(path("to/inner/file").c_str(), &status), 0);
  EXPECT_EQ(status.st_mtim.tv_sec, 1'000'000'001);
  EXPECT_EQ(status.st_mtim.tv_nsec, 5);
  EXPECT_EQ(status.st_mode & 0777, 0640u);
  EXPECT_EQ(std::filesystem::read_symlink(path("to/inner/link")), "file");
  EXPECT_EQ(codeOf([&] { files.copyItem(url("from/inner/file"), url("to/inner/file")); }), EEXIST);
  EXPECT_EQ(codeOf([&] { files.copyItem(url("missing"), url("new")); }), ENOENT);
}

TEST_F(FileManagerTest, CopyKeepsHoles) {
  put("sparse", "begin");
  std::filesystem::resize_file(path("sparse"), 10'000'000'000);
  std::ofstream(path("sparse"), std::ios::app) << "end";
  files.copyItem(url("sparse"), url("copy"));
  struct stat status{};
  ASSERT_EQ(::stat(path("copy").c_str(), &status), 0);
  EXPECT_EQ(status.st_size, 10'000'000'003);
  EXPECT_LT(status.st_blocks, 1'000);
  std::ifstream copy(path("copy"));
  std::string text(5, '\0');
  copy.read(text.data(), 5);
  EXPECT_EQ(text, "begin");
  copy.seekg(10'000'000'000);
  copy >> text;
  EXPECT_EQ(text, "end");
}

TEST_F(FileManagerTest, CopyKeepsAHoleAtTheEnd) {
  put("sparse", "begin");
  std::filesystem::resize_file(path("sparse"), 1'000'000);
  files.copyItem(url("sparse"), url("copy"));
  EXPECT_EQ(std::filesystem::file_size(path("copy")), 1'000'000u);
}

TEST_F(FileManagerTest, CopyIgnoresTheReportedSize) {
  // The kernel generates both files. The first one reports a size of 0, the second one of a page.
  for (const char* made : {"/proc/cpuinfo", "/sys/kernel/mm/transparent_hugepage/enabled"}) {
    if (!files.fileExists(made)) continue;
    std::filesystem::remove(path("copy"));
    files.copyItem(URL::fileURLWithPath(made), url("copy"));
    EXPECT_EQ(Tests::contentsOf(path("copy")).substr(0, 20), Tests::contentsOf(made).substr(0, 20)) << made;
    EXPECT_EQ(Tests::contentsOf(path("copy")).size(), Tests::contentsOf(made).size()) << made;
  }
}

TEST_F(FileManagerTest, FileChangedDuringACopyIsBusyOrWhole) {
  put("log", std::string(4'000'000, 'a'));
  std::atomic<bool> isOver{false};
  std::thread writer([&] {
    while (!isOver) {
      std::filesystem::resize_file(path("log"), 1'000'000);
      std::ofstream(path("log"), std::ios::app) << std::string(3'000'000, 'b');
    }
  });
  for (int round = 0; round < 20; ++round) {
    const int code = codeOf([&] { files.copyItem(url("log"), url("copy")); });
    EXPECT_TRUE(code == 0 || code == EBUSY) << code;
    if (code == 0) {
      EXPECT_EQ(Tests::contentsOf(path("copy")).find('\0'), std::string::npos);
    }
    std::filesystem::remove(path("copy"));
  }
  isOver = true;
  writer.join();
}

TEST_F(FileManagerTest, ChangeOfTimesAloneIsNotAWrite) {
  put("file", "text");
  const auto source = files.makeFileChangeSource(url("file"), [] {});
  const timespec times[2]{{.tv_sec = 1'000'000'000, .tv_nsec = 0}, {.tv_sec = 1'000'000'001, .tv_nsec = 5}};
  ASSERT_EQ(::utimensat(AT_FDCWD, path("file").c_str(), times, 0), 0);
  EXPECT_EQ(source->takeChange(), std::nullopt);
  put("file", "more");
  EXPECT_EQ(source->takeChange(), FileChange::contents);
}

TEST_F(FileManagerTest, WriteThroughAMappingBeforeAChangeOfModeIsReported) {
  put("file", "text");
  // The time is in the past, because the clock that dates files ticks in milliseconds.
  const timespec times[2]{{.tv_sec = 1'000'000'000, .tv_nsec = 0}, {.tv_sec = 1'000'000'000, .tv_nsec = 0}};
  ASSERT_EQ(::utimensat(AT_FDCWD, path("file").c_str(), times, 0), 0);
  const auto source = files.makeFileChangeSource(url("file"), [] {});
  const int file = ::open(path("file").c_str(), O_RDWR | O_CLOEXEC);
  void* const mapped = ::mmap(nullptr, 4, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
  ASSERT_NE(mapped, MAP_FAILED);
  std::memcpy(mapped, "TEXT", 4);
  ::msync(mapped, 4, MS_SYNC);
  ::chmod(path("file").c_str(), 0600);
  EXPECT_EQ(source->takeChange(), std::nullopt);
  ::munmap(mapped, 4);
  ::close(file);
  EXPECT_EQ(source->takeChange(), FileChange::contents);
}

TEST_F(FileManagerTest, DirectoryIsNotCopiedIntoItself) {
  std::filesystem::create_directories(path("a/b"));
  std::filesystem::create_directory_symlink(path("a"), path("link"));
  EXPECT_EQ(codeOf([&] { files.copyItem(url("a"), url("a/b/c")); }), EINVAL);
  EXPECT_EQ(codeOf([&] { files.copyItem(url("a"), url("link/b/c")); }), EINVAL);
  files.copyItem(url("link"), url("a/b/c"));
  EXPECT_TRUE(std::filesystem::is_symlink(path("a/b/c")));
  files.copyItem(url("a"), url("ab"));
  EXPECT_TRUE(std::filesystem::is_directory(path("ab/b")));
}

TEST_F(FileManagerTest, DeepDirectoryIsCopiedAndRemovedWithFewDescriptors) {
  constexpr int levels = 100;
  const std::string deepest = "/" + Tests::pathOfDepth(levels);
  std::filesystem::create_directories(path("a" + deepest));
  put("a" + deepest + "/file", "text");
  const auto limit = Tests::fewDescriptors(levels / 2);
  files.copyItem(url("a"), url("b"));
  EXPECT_EQ(files.contents(url("b" + deepest + "/file")).text(), "text");
  files.removeItem(url("b"));
  EXPECT_FALSE(files.fileExists(path("b")));
  // The incomplete copy is removed, too.
  ASSERT_EQ(::mkfifo(path("a/pipe").c_str(), 0600), 0);
  EXPECT_EQ(codeOf([&] { files.copyItem(url("a"), url("b")); }), ENOTSUP);
  EXPECT_FALSE(files.fileExists(path("b")));
}

TEST_F(FileManagerTest, PipesAreNotCopied) {
  ASSERT_EQ(::mkfifo(path("pipe").c_str(), 0600), 0);
  EXPECT_EQ(codeOf([&] { files.copyItem(url("pipe"), url("copy")); }), ENOTSUP);
}

TEST_F(FileManagerTest, MoveOverwritesNothing) {
  put("a", "a");
  put("b", "b");
  EXPECT_EQ(codeOf([&] { files.moveItem(url("a"), url("b")); }), EEXIST);
  files.moveItem(url("a"), url("c"));
  EXPECT_FALSE(files.fileExists(path("a")));
  EXPECT_EQ(files.contents(url("c")).text(), "a");
  EXPECT_EQ(codeOf([&] { files.moveItem(url("a"), url("d")); }), ENOENT);
}

TEST_F(FileManagerTest, MoveToAnotherVolumeCopiesAndRemoves) {
  if (!std::filesystem::is_directory("/dev/shm")) GTEST_SKIP() << "no second volume at /dev/shm";
  std::string other = "/dev/shm/tessaly-XXXXXX";
  ASSERT_NE(::mkdtemp(other.data()), nullptr);
  put("a", "a");
  files.moveItem(url("a"), URL::fileURLWithPath(other + "/b"));
  EXPECT_FALSE(files.fileExists(path("a")));
  EXPECT_TRUE(files.fileExists(other + "/b"));
  std::filesystem::remove_all(other);
}

TEST_F(FileManagerTest, RemovingFollowsNoLink) {
  std::filesystem::create_directories(path("kept/inner"));
  std::filesystem::create_directory_symlink(path("kept"), path("link"));
  files.removeItem(url("link"));
  EXPECT_TRUE(std::filesystem::is_directory(path("kept/inner")));
  files.removeItem(url("kept"));
  EXPECT_FALSE(files.fileExists(path("kept")));
  EXPECT_EQ(codeOf([&] { files.removeItem(url("kept")); }), ENOENT);
}

TEST_F(FileManagerTest, DirectoryWithEntriesOfAllKindsIsRemoved) {
  std::filesystem::create_directories(path("a/full/inner"));
  std::filesystem::create_directories(path("a/closed"));
  put("a/file", "text");
  put("a/full/inner/file", "text");
  ASSERT_EQ(::mkfifo(path("a/pipe").c_str(), 0600), 0);
  std::filesystem::create_symlink("missing", path("a/full/dangling"));
  ASSERT_EQ(::chmod(path("a/closed").c_str(), 0), 0);
  files.removeItem(url("a"));
  EXPECT_FALSE(files.fileExists(path("a")));
}

TEST_F(FileManagerTest, DirectoryIsMarkedByAStandardTag) {
  files.createDirectory(url("a"), IntermediateDirectories::created);
  files.setIsExcludedFromBackup(true, url("a"));
  files.setIsExcludedFromBackup(true, url("a"));
  EXPECT_TRUE(files.contents(url("a/CACHEDIR.TAG")).text().starts_with("Signature: 8a477f597d28d172789f06886806bc55"));
  EXPECT_TRUE(files.isExcludedFromBackup(url("a")));
  files.setIsExcludedFromBackup(false, url("a"));
  EXPECT_FALSE(files.isExcludedFromBackup(url("a")));
  EXPECT_FALSE(files.fileExists(path("a/CACHEDIR.TAG")));
}

TEST_F(FileManagerTest, UsersFileWithTheTagsNameIsKept) {
  put("CACHEDIR.TAG", "mine");
  EXPECT_EQ(codeOf([&] { files.setIsExcludedFromBackup(true, folder.url()); }), EEXIST);
  EXPECT_EQ(files.contents(url("CACHEDIR.TAG")).text(), "mine");
}

TEST_F(FileManagerTest, CapacityIsThatOfTheVolume) {
  EXPECT_GT(files.volumeAvailableCapacityForImportantUsage(folder.url()).value_or(0), 0);
  EXPECT_EQ(codeOf([&] { static_cast<void>(files.volumeAvailableCapacityForImportantUsage(url("missing"))); }), ENOENT);
}

TEST_F(FileManagerTest, UsersDirectoriesFollowTheEnvironment) {
  const ProcessInfo process({.environment = std::map<std::string, std::string>{
                                 {"HOME", "/home/me"}, {"XDG_DATA_HOME", "relative"}, {"TMPDIR", "/scratch"}}});
  const ProcessInfo::Replacement replacement(process);
  EXPECT_EQ(files.homeDirectoryForCurrentUser().path(), "/home/me");
  EXPECT_EQ(files.applicationSupportDirectories().front().path(), "/home/me/.local/share");
  EXPECT_EQ(files.temporaryDirectory().path(), "/scratch");
  EXPECT_EQ(files.urlForUbiquityContainer(std::nullopt), std::nullopt);
}

TEST_F(FileManagerTest, WithoutHOMETheUserDatabaseGivesTheHomeDirectory) {
  const ProcessInfo process({.environment = std::map<std::string, std::string>{}});
  const ProcessInfo::Replacement replacement(process);
  EXPECT_TRUE(files.homeDirectoryForCurrentUser().path().starts_with('/'));
  EXPECT_EQ(files.temporaryDirectory().path(), "/tmp");
}

TEST_F(FileManagerTest, OtherURLsThanFileURLsAreRefused) {
  const URL site = *URL::from("https://example.com/a");
  EXPECT_THROW(static_cast<void>(files.openForReading(site)), URLError);
  EXPECT_THROW(files.removeItem(site), URLError);
  EXPECT_THROW(files.createDirectory(site, IntermediateDirectories::created), URLError);
}

TEST_F(FileManagerTest, OpeningAPipeDoesNotWaitForItsWriter) {
  ASSERT_EQ(::mkfifo(path("pipe").c_str(), 0600), 0);
  EXPECT_GE(files.openForReading(url("pipe")).fileDescriptor(), 0);
}

TEST_F(FileManagerTest, FileLargerThanMemoryIsRefusedUnread) {
  put("huge", "");
  ASSERT_EQ(::truncate(path("huge").c_str(), off_t{8} << 40), 0);
  EXPECT_EQ(codeOf([&] { static_cast<void>(files.contents(url("huge"))); }), ENOMEM);
}

}  // namespace
}  // namespace Tessaly
