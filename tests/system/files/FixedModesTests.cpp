// SPDX-License-Identifier: MIT
// Volumes whose files have fixed modes and no extended attributes, such as those of phones.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "Tessaly/Core/Foundation/Data+AtomicWrite.hpp"
#include "Tessaly/Core/Foundation/POSIXError.hpp"
#include "Tessaly/Platform/Files/FileManager.hpp"
#include "tests/Support/ContentsOf.hpp"
#include "tests/Support/RemoteVolume.hpp"
#include "tests/Support/TemporaryFolder.hpp"

namespace Tessaly {
namespace {

class FixedModes : public testing::Test {
 protected:
  void SetUp() override {
    if (!volume_.reason().empty()) GTEST_SKIP() << volume_.reason();
    std::filesystem::create_directories(folder_.path() + "/from/inner");
    std::ofstream(folder_.path() + "/from/inner/file") << "text";
    ASSERT_EQ(::chmod((folder_.path() + "/from/inner/file").c_str(), 0640), 0);
    ASSERT_EQ(::chmod(volume_.ours("").c_str(), 0700), -1);
  }
  [[nodiscard]] URL from(const std::string& name) const { return URL::fileURLWithPath(folder_.path() + "/" + name); }
  [[nodiscard]] URL ours(const std::string& name) const { return URL::fileURLWithPath(volume_.ours(name)); }

  FileManager& files_ = FileManager::default_();
  Tests::TemporaryFolder folder_;
  Tests::RemoteVolume volume_{{"--chmod-deny", "--xattr-none"}};
};

TEST_F(FixedModes, CopiesKeepTheirContents) {
  files_.copyItem(from("from/inner/file"), ours("file"));
  EXPECT_EQ(Tests::contentsOf(volume_.theirs("file")), "text");
  files_.copyItem(from("from"), ours("copy"));
  EXPECT_EQ(Tests::contentsOf(volume_.theirs("copy/inner/file")), "text");
}

TEST_F(FixedModes, MovesFromAnotherVolumeRemoveTheSource) {
  files_.moveItem(from("from"), ours("moved"));
  EXPECT_EQ(Tests::contentsOf(volume_.theirs("moved/inner/file")), "text");
  EXPECT_FALSE(std::filesystem::exists(folder_.path() + "/from"));
}

TEST_F(FixedModes, FileIsReplacedAtomically) {
  std::ofstream(volume_.theirs("file")) << "old";
  writeAtomically(Data(std::string_view("new")), ours("file"));
  EXPECT_EQ(Tests::contentsOf(volume_.theirs("file")), "new");
}

TEST_F(FixedModes, UnmarkedFileMayBeUnmarked) {
  std::ofstream(volume_.theirs("file")) << "1";
  EXPECT_NO_THROW(files_.setIsExcludedFromBackup(false, ours("file")));
  EXPECT_THROW(files_.setIsExcludedFromBackup(true, ours("file")), POSIXError);
}

TEST(VolumesWithoutAnEnd, HaveNoKnownCapacity) {
  EXPECT_EQ(FileManager::default_().volumeAvailableCapacityForImportantUsage(URL::fileURLWithPath("/proc")),
            std::nullopt);
}

}  // namespace
}  // namespace Tessaly
