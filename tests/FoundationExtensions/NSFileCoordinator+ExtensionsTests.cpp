// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <future>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Tessaly/Core/Foundation/POSIXError.hpp"
#include "Tessaly/Core/Foundation/ProcessInfo.hpp"
#include "Tessaly/Core/Foundation/URLError.hpp"
#include "Tessaly/Core/Foundation/UUID.hpp"
#include "Tessaly/Core/Tasks/SyncWait.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"
#include "Tessaly/FoundationExtensions/NSFileCoordinator+Extensions.hpp"
#include "Tessaly/Platform/Testing/ScriptedFileManager.hpp"
#include "tests/Support/OutputOf.hpp"
#include "tests/Support/TemporaryFolder.hpp"

namespace Tessaly {
namespace {

using testing::ElementsAre;
using Tests::outputOf;

/// Python's view of an archive, one entry a line: its name without the first directory, the type of the file as in
/// stat, and its contents as Python writes bytes.
constexpr std::string_view listing = R"(
import sys, zipfile
archive = zipfile.ZipFile(sys.argv[1])
assert archive.testzip() is None
for entry in sorted(archive.infolist(), key=lambda entry: entry.filename):
    name = entry.filename.encode('utf-8' if entry.flag_bits & 0x800 else 'cp437')
    print(name.split(b'/', 1)[1], entry.external_attr >> 28, archive.read(entry))
)";

class ZipFiles : public testing::Test {
 protected:
  ZipFiles() { std::filesystem::create_directories(path("scratch")); }
  [[nodiscard]] std::string path(std::string_view name) const { return folder.path() + "/" + std::string(name); }
  [[nodiscard]] URL url(std::string_view name) const { return URL::fileURLWithPath(path(name)); }
  void put(std::string_view name, std::string_view text) const {
    std::filesystem::create_directories(std::filesystem::path(path(name)).parent_path());
    std::ofstream(path(name), std::ios::binary) << text;
  }
  static Data zip(std::vector<URL> urls) {
    return syncWait([&] { return zipFiles(NSFileCoordinator(), urls); });
  }
  /// The code of the `POSIXError` that `zipFiles` throws. 0 without an exception.
  static int codeOf(std::vector<URL> urls) {
    try {
      zip(std::move(urls));
      return 0;
    } catch (const POSIXError& error) {
      return error.code();
    }
  }
  [[nodiscard]] std::string listed(std::vector<URL> urls) const {
    zip(std::move(urls)).write(url("all.zip"));
    std::ofstream(path("list.py")) << listing;
    return outputOf("python3 " + path("list.py") + " " + path("all.zip") + " 2>&1");
  }
  void expectNothingLeft() const { EXPECT_TRUE(std::filesystem::is_empty(path("scratch"))); }

  Tests::TemporaryFolder folder;
  ProcessInfo process{{.environment = std::map<std::string, std::string>{{"TMPDIR", path("scratch")}}}};
  ProcessInfo::Replacement replacement{process};
};

TEST_F(ZipFiles, OtherProgramsReadTheArchiveByteForByte) {
  std::string large;
  for (std::uint32_t i = 0, state = 1; i < 3'000'000; ++i) {
    state = state * 1'664'525 + 1'013'904'223;
    large += static_cast<char>(state >> 24);
  }
  put("a.txt", "hello");
  put("empty", "");
  put("large", large);
  put("inner/deeper/b", std::string(100'000, 'x'));
  std::filesystem::create_directories(path("inner/nothing"));
  zip({url("a.txt"), url("empty"), url("large"), url("inner")}).write(url("all.zip"));
  expectNothingLeft();
  EXPECT_EQ(outputOf("cd " + path("") + " && unzip -tqq all.zip 2>&1"), "");
  EXPECT_EQ(outputOf("cd " + path("") +
                     " && unzip -qq all.zip -d out 2>&1 && for name in a.txt empty large inner; do diff -r $name "
                     "out/*/$name; done"),
            "");
  EXPECT_EQ(outputOf("cd " + path("") +
                     " && python3 -m zipfile -e all.zip again && for name in a.txt empty large inner; do diff -r $name "
                     "again/*/$name; done"),
            "");
}

TEST_F(ZipFiles, NamesAreKeptInUTF8) {
  put("\xC3\xA9t\xC3\xA9", "1");
  put("e\xCC\x81t\xC3\xA9", "2");
  put("\xF0\x9F\x8E\xB5 notes\n-x", "3");
  put("-rf", "4");
  EXPECT_EQ(
      listed({url("\xC3\xA9t\xC3\xA9"), url("e\xCC\x81t\xC3\xA9"), url("\xF0\x9F\x8E\xB5 notes\n-x"), url("-rf")}),
      "b'' 4 b''\nb'-rf' 8 b'4'\nb'e\\xcc\\x81t\\xc3\\xa9' 8 b'2'\nb'\\xc3\\xa9t\\xc3\\xa9' 8 b'1'\n"
      "b'\\xf0\\x9f\\x8e\\xb5 notes\\n-x' 8 b'3'\n");
}

TEST_F(ZipFiles, NamesThatAreNotUTF8KeepTheirBytes) {
  put("caf\xE9", "1");
  put("inner/\xFF\xFE/x\x80", "2");
  EXPECT_EQ(listed({url("caf\xE9"), url("inner")}),
            "b'' 4 b''\nb'caf\\xe9' 8 b'1'\nb'inner/' 4 b''\nb'inner/\\xff\\xfe/' 4 b''\nb'inner/\\xff\\xfe/x\\x80' 8 "
            "b'2'\n");
}

TEST_F(ZipFiles, TimesAndModesAreKept) {
  put("a.txt", "hello");
  put("inner/b", "");
  const timespec times[2]{{.tv_sec = 981'173'107, .tv_nsec = 0}, {.tv_sec = 981'173'105, .tv_nsec = 987'654'321}};
  for (const char* const name : {"a.txt", "inner/b", "inner"}) {
    ASSERT_EQ(::utimensat(AT_FDCWD, path(name).c_str(), times, 0), 0);
  }
  ASSERT_EQ(::chmod(path("a.txt").c_str(), 0640), 0);
  ASSERT_EQ(::chmod(path("inner/b").c_str(), 0755), 0);
  zip({url("a.txt"), url("inner")}).write(url("all.zip"));
  EXPECT_EQ(outputOf("cd " + path("") +
                     " && unzip -qq all.zip -d out 2>&1 && cd out/* && stat -c '%n %Y %a' a.txt inner inner/b"),
            "a.txt 981173105 640\ninner 981173105 755\ninner/b 981173105 755\n");
}

TEST_F(ZipFiles, LinksAreArchivedAsLinks) {
  put("target", "text");
  std::filesystem::create_symlink("target", path("link"));
  std::filesystem::create_symlink("nowhere/\xC3\xA9\xFF", path("dangling"));
  EXPECT_EQ(listed({url("link"), url("dangling")}),
            "b'' 4 b''\nb'dangling' 10 b'nowhere/\\xc3\\xa9\\xff'\nb'link' 10 b'target'\n");
  expectNothingLeft();
}

TEST_F(ZipFiles, NoFilesGiveTheArchiveOfAnEmptyDirectory) { EXPECT_EQ(listed({}), "b'' 4 b''\n"); }

TEST_F(ZipFiles, PathWithoutANameIsRefused) {
  for (const char* path : {"/", "/usr/..", "/usr/."}) EXPECT_EQ(codeOf({URL::fileURLWithPath(path)}), EINVAL) << path;
  expectNothingLeft();
}

TEST_F(ZipFiles, KernelGeneratedFilesAreReadToTheEnd) {
  zip({URL::fileURLWithPath("/proc/cpuinfo")}).write(url("all.zip"));
  EXPECT_GT(outputOf("unzip -p " + path("all.zip")).size(), 20u);
}

TEST_F(ZipFiles, FailedCopyIsAnErrorAndLeavesNothingBehind) {
  put("a", "1");
  put("other/a", "2");
  EXPECT_EQ(codeOf({url("missing")}), ENOENT);
  EXPECT_EQ(codeOf({url("a"), url("a/b")}), ENOTDIR);
  EXPECT_EQ(codeOf({url("a"), url("other/a")}), EEXIST);
  EXPECT_EQ(codeOf({url("other"), url("other")}), EEXIST);
  EXPECT_EQ(codeOf({url(std::string(256, 'x'))}), ENAMETOOLONG);
  EXPECT_EQ(codeOf({url(std::string(4096, 'x'))}), ENAMETOOLONG);
  EXPECT_THROW(zip({*URL::from("https://example.org/a")}), URLError);
  expectNothingLeft();
}

TEST_F(ZipFiles, APathOfAlmost4096BytesIsArchived) {
  std::string deep = path("");
  while (deep.size() + 256 < 4090) deep += std::string(250, 'd') + "/";
  // The path is below the limit of the kernel, which is 4,096 bytes with the final zero.
  std::filesystem::create_directories(deep);
  const std::string file = deep + std::string(4095 - deep.size(), 'f');
  ASSERT_EQ(file.size(), 4095u);
  std::ofstream(file) << "deep";
  const std::string found = listed({URL::fileURLWithPath(file)});
  EXPECT_TRUE(found.ends_with(" 8 b'deep'\n")) << found;
}

TEST_F(ZipFiles, UnreadableFileIsAnErrorAndLeavesNothingBehind) {
  put("secret", "x");
  put("inner/secret", "x");
  std::filesystem::permissions(path("secret"), std::filesystem::perms::none);
  std::filesystem::permissions(path("inner/secret"), std::filesystem::perms::none);
  for (const std::string& place : {folder.path(), path("scratch")}) {
    std::filesystem::permissions(place, std::filesystem::perms::all);
  }
  // Root may read everything, on any thread.
  if (::geteuid() == 0) ASSERT_EQ(::seteuid(65534), 0);
  EXPECT_EQ(codeOf({url("secret")}), EACCES);
  EXPECT_EQ(codeOf({url("inner")}), EACCES);
  expectNothingLeft();
  if (::getuid() == 0) ASSERT_EQ(::seteuid(0), 0);
}

TEST_F(ZipFiles, OtherUsersCannotReachTheCopies) {
  put("kept/in/private", "x");
  std::vector<std::filesystem::perms> modes;
  const auto files = std::make_shared<ScriptedFileManager>();
  files->copy = [&](const URL&, const URL& copy) {
    modes.push_back(std::filesystem::status(std::filesystem::path(copy.path()).parent_path()).permissions());
  };
  const FileManagerInstallation installation(files);
  zip({url("kept/in/private"), url("kept")});
  EXPECT_THAT(modes, ElementsAre(std::filesystem::perms::owner_all, std::filesystem::perms::owner_all));
}

TEST_F(ZipFiles, ReadOnlyDirectoriesAreArchivedAndLeaveNothingBehind) {
  put("fixed/inner/a", "1");
  std::filesystem::permissions(path("fixed/inner"), std::filesystem::perms(0555));
  std::filesystem::permissions(path("fixed"), std::filesystem::perms(0555));
  for (const std::string& place : {folder.path(), path("scratch")}) {
    std::filesystem::permissions(place, std::filesystem::perms::all);
  }
  if (::geteuid() == 0) ASSERT_EQ(::seteuid(65534), 0);
  EXPECT_TRUE(zip({url("fixed")}).text().starts_with("PK"));
  expectNothingLeft();
  if (::getuid() == 0) ASSERT_EQ(::seteuid(0), 0);
  std::filesystem::permissions(path("fixed"), std::filesystem::perms::all);
  std::filesystem::permissions(path("fixed/inner"), std::filesystem::perms::all);
}

TEST_F(ZipFiles, PipesFailWithoutWaiting) {
  ASSERT_EQ(::mkfifo(path("pipe").c_str(), 0600), 0);
  std::filesystem::create_directories(path("inner"));
  ASSERT_EQ(::mkfifo(path("inner/pipe").c_str(), 0600), 0);
  EXPECT_EQ(codeOf({url("pipe")}), ENOTSUP);
  EXPECT_EQ(codeOf({url("inner")}), ENOTSUP);
  expectNothingLeft();
}

TEST_F(ZipFiles, DirectoryThatContainsTheCopiesIsAnError) {
  put("scratch-file", std::string(1'000'000, 'x'));
  EXPECT_EQ(codeOf({url("scratch")}), EINVAL);
  EXPECT_EQ(codeOf({folder.url()}), EINVAL);
  std::filesystem::create_symlink(folder.path(), path("round"));
  EXPECT_EQ(codeOf({url("round/scratch")}), EINVAL);
  expectNothingLeft();
}

TEST_F(ZipFiles, MissingTemporaryDirectoryIsAnError) {
  std::filesystem::remove(path("scratch"));
  put("scratch", "a file");
  put("a", "1");
  EXPECT_NE(codeOf({url("a")}), 0);
}

/// Records each step.
class StepsOfZipFiles : public ZipFiles {
 protected:
  static std::shared_ptr<ScriptedFileManager> scripted() { return std::make_shared<ScriptedFileManager>(); }
  [[nodiscard]] std::vector<std::string> inScratch() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(path("scratch"))) {
      names.push_back(entry.path().filename());
    }
    return names;
  }

  FileManager& system = FileManager::default_();
  std::shared_ptr<ScriptedFileManager> files = scripted();
  FileManagerInstallation installation{files};
};

TEST_F(StepsOfZipFiles, CopiesGoIntoARandomDirectoryBesideTheArchive) {
  put("a", "1");
  std::string working;
  std::string archive;
  files->copy = [&](const URL& from, const URL& to) {
    working = to.deletingLastPathComponent().path();
    EXPECT_EQ(to.lastPathComponent(), "a");
    system.copyItem(from, to);
  };
  files->move = [&](const URL& from, const URL& to) {
    archive = to.path();
    EXPECT_TRUE(std::filesystem::is_regular_file(from.path()));
    system.moveItem(from, to);
  };
  zip({url("a")});
  const std::string name = std::filesystem::path(working).filename();
  EXPECT_TRUE(UUID::from(name)) << name;
  EXPECT_EQ(working, path("scratch/" + name));
  EXPECT_EQ(archive, path("scratch/zip-" + name));
  expectNothingLeft();
}

TEST_F(StepsOfZipFiles, InASandboxCopiesAreBelowTheCurrentDirectory) {
  const ProcessInfo sandboxed({.environment = std::map<std::string, std::string>{{"TMPDIR", path("scratch")},
                                                                                 {"APP_SANDBOX_CONTAINER_ID", ""}}});
  const ProcessInfo::Replacement inside(sandboxed);
  std::filesystem::current_path(folder.path());
  put("a", "1");
  std::string working;
  files->copy = [&](const URL& from, const URL& to) {
    working = to.deletingLastPathComponent().path();
    system.copyItem(from, to);
  };
  EXPECT_TRUE(zip({url("a")}).text().starts_with("PK"));
  EXPECT_TRUE(working.starts_with(std::filesystem::canonical(folder.path()).string() + "/tmp/")) << working;
  EXPECT_TRUE(std::filesystem::is_empty(path("tmp")));
}

TEST_F(StepsOfZipFiles, ErrorOfEachStepIsThrownAndLeavesNothingBehind) {
  put("a", "1");
  files->copy = [](const URL&, const URL&) { throw POSIXError(EXDEV); };
  EXPECT_EQ(codeOf({url("a")}), EXDEV);
  expectNothingLeft();
  files->copy = nullptr;
  files->move = [](const URL&, const URL&) { throw POSIXError(EMLINK); };
  EXPECT_EQ(codeOf({url("a")}), EMLINK);
  expectNothingLeft();
  files->move = nullptr;
  files->read = [](const URL&) -> Data { throw POSIXError(ENOMEM); };
  EXPECT_EQ(codeOf({url("a")}), ENOMEM);
  expectNothingLeft();
}

TEST_F(StepsOfZipFiles, FirstOfSeveralErrorsOfCopyingIsThrown) {
  std::vector<std::string> asked;
  files->copy = [&](const URL& from, const URL&) {
    asked.push_back(from.lastPathComponent());
    throw POSIXError(EIO);
  };
  EXPECT_EQ(codeOf({url("b"), url("a")}), EIO);
  EXPECT_THAT(asked, ElementsAre("b"));
}

TEST_F(StepsOfZipFiles, AnErrorOfRemovingIsIgnored) {
  put("a", "1");
  files->remove = [](const URL&) { throw POSIXError(EPERM); };
  EXPECT_TRUE(zip({url("a")}).text().starts_with("PK"));
  EXPECT_EQ(inScratch().size(), 2u);
}

TEST_F(StepsOfZipFiles, CancellationMidwayNeitherStopsItNorLeavesFiles) {
  put("a", "1");
  std::promise<void> copying;
  std::promise<void> cancelled;
  files->copy = [&](const URL& from, const URL& to) {
    copying.set_value();
    cancelled.get_future().wait();
    system.copyItem(from, to);
  };
  const auto task = Task<Data>::detached([place = url("a")] { return zipFiles(NSFileCoordinator(), {place}); });
  copying.get_future().wait();
  task.cancel();
  cancelled.set_value();
  EXPECT_TRUE(syncWait([&] { return task.value(); }).text().starts_with("PK"));
  expectNothingLeft();
}

TEST_F(StepsOfZipFiles, ConcurrentArchivesDoNotInterfere) {
  put("a", std::string(10'000, '1'));
  put("other/a", std::string(10'000, '2'));
  std::vector<Task<Data>> tasks;
  for (int i = 0; i < 20; ++i) {
    tasks.emplace_back([place = url(i % 2 == 0 ? "a" : "other/a")] { return zipFiles(NSFileCoordinator(), {place}); });
  }
  for (auto& task : tasks) EXPECT_TRUE(syncWait([&] { return task.value(); }).text().starts_with("PK"));
  expectNothingLeft();
}

}  // namespace
}  // namespace Tessaly
