// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <map>
#include <stdexcept>
#include <string>

#include "Tessaly/Core/Foundation/POSIXError.hpp"
#include "Tessaly/Core/Foundation/ProcessInfo.hpp"
#include "Tessaly/Platform/Files/NSFileCoordinator.hpp"
#include "tests/Support/LoweredLimit.hpp"
#include "tests/Support/OutputOf.hpp"
#include "tests/Support/TemporaryFolder.hpp"

namespace Tessaly {
namespace {

using enum NSFileCoordinator::ReadingOptions;

class CoordinatedReading : public testing::Test {
 protected:
  CoordinatedReading() {
    std::filesystem::create_directories(path("scratch"));
    std::filesystem::create_directories(path("notes/inner"));
    std::ofstream(path("notes/inner/a")) << "hello";
  }
  [[nodiscard]] std::string path(const std::string& name) const { return folder.path() + "/" + name; }
  [[nodiscard]] URL url(const std::string& name) const { return URL::fileURLWithPath(path(name)); }
  void expectNothingLeft() const { EXPECT_TRUE(std::filesystem::is_empty(path("scratch"))); }

  Tests::TemporaryFolder folder;
  ProcessInfo process{{.environment = std::map<std::string, std::string>{{"TMPDIR", path("scratch")}}}};
  ProcessInfo::Replacement replacement{process};
};

TEST_F(CoordinatedReading, GivesTheURLItselfIfNoArchiveIsNeeded) {
  int calls = 0;
  for (const auto& [place, options] : {std::pair(url("notes"), none), std::pair(url("notes/inner/a"), forUploading)}) {
    NSFileCoordinator().coordinateReading(place, options, [&](const URL& given) {
      EXPECT_EQ(given, place);
      ++calls;
    });
  }
  EXPECT_EQ(calls, 2);
}

TEST_F(CoordinatedReading, ReadsFilesOfADirectoryToTheEnd) {
  // Every file in this directory reports the size of a page.
  const std::string made = "/sys/kernel/mm/transparent_hugepage";
  if (!std::filesystem::exists(made)) GTEST_SKIP() << "no /sys";
  NSFileCoordinator().coordinateReading(URL::fileURLWithPath(made), forUploading, [&](const URL& archive) {
    const std::string listed = Tests::outputOf("unzip -p " + archive.path() + " transparent_hugepage/enabled");
    EXPECT_EQ(listed, Tests::outputOf("cat " + made + "/enabled"));
  });
}

TEST_F(CoordinatedReading, ArchiveOfALinkToADirectoryHasTheDirectory) {
  std::filesystem::create_directory_symlink("notes", path("link"));
  NSFileCoordinator().coordinateReading(url("link"), forUploading, [&](const URL& archive) {
    EXPECT_EQ(Tests::outputOf("unzip -Z1 " + archive.path()), "link/\nlink/inner/\nlink/inner/a\n");
    EXPECT_EQ(
        Tests::outputOf("cd " + folder.path() + " && unzip -qq " + archive.path() + " -d out && cat out/link/inner/a"),
        "hello");
  });
  expectNothingLeft();
}

TEST_F(CoordinatedReading, ArchiveOfADirectoryIsPrivateAndTemporary) {
  NSFileCoordinator().coordinateReading(url("notes"), forUploading, [&](const URL& archive) {
    EXPECT_EQ(archive.pathExtension(), "zip");
    struct stat status{};
    ASSERT_EQ(::stat(archive.path().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, mode_t{0600});
    EXPECT_EQ(Tests::outputOf("unzip -Z1 " + archive.path()), "notes/\nnotes/inner/\nnotes/inner/a\n");
  });
  expectNothingLeft();
}

TEST_F(CoordinatedReading, ArchiveOfADeepDirectoryNeedsFewDescriptors) {
  constexpr int levels = 100;
  const std::string below = "deep/" + Tests::pathOfDepth(levels);
  std::filesystem::create_directories(path(below));
  std::ofstream(path(below + "/a")) << "hello";
  const auto limit = Tests::fewDescriptors(levels / 2);
  NSFileCoordinator().coordinateReading(url("deep"), forUploading, [&](const URL& archive) {
    EXPECT_EQ(Tests::outputOf("unzip -p " + archive.path() + " " + below + "/a"), "hello");
  });
}

TEST_F(CoordinatedReading, MovedArchiveStays) {
  NSFileCoordinator().coordinateReading(url("notes"), forUploading, [&](const URL& archive) {
    std::filesystem::rename(archive.path(), path("kept.zip"));
  });
  EXPECT_TRUE(std::filesystem::exists(path("kept.zip")));
  expectNothingLeft();
}

TEST_F(CoordinatedReading, ThrowingAccessorRemovesTheArchive) {
  EXPECT_THROW(NSFileCoordinator().coordinateReading(url("notes"), forUploading,
                                                     [](const URL&) { throw std::runtime_error("enough"); }),
               std::runtime_error);
  expectNothingLeft();
}

TEST_F(CoordinatedReading, MissingFileOrTemporaryDirectoryIsAnError) {
  const auto codeOf = [&](const std::string& name) -> std::int64_t {
    try {
      NSFileCoordinator().coordinateReading(url(name), forUploading, [](const URL&) { ADD_FAILURE(); });
    } catch (const POSIXError& error) {
      return error.code();
    }
    return 0;
  };
  EXPECT_EQ(codeOf("missing"), ENOENT);
  EXPECT_EQ(codeOf("notes/inner/a/b"), ENOTDIR);
  std::filesystem::remove(path("scratch"));
  EXPECT_EQ(codeOf("notes"), ENOENT);
}

}  // namespace
}  // namespace Tessaly
