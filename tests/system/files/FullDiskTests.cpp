// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <string>

#include "Tessaly/Core/Foundation/POSIXError.hpp"
#include "Tessaly/SystemServices/FileManager+FileSystemEventsExtensions.hpp"
#include "tests/Support/MemoryVolume.hpp"
#include "tests/Support/TemporaryFolder.hpp"

namespace Tessaly {
namespace {

class FullDisk : public testing::Test {
 protected:
  void SetUp() override {
    if (!disk_.reason().empty()) GTEST_SKIP() << disk_.reason();
  }
  /// The code of the system error that writing throws, or 0.
  int codeOfWriting(const std::string& text, const std::string& name, bool excludesFromBackup) {
    try {
      writeData(files_, Data(std::string_view(text)), URL::fileURLWithPath(disk_.path(name)), excludesFromBackup);
    } catch (const POSIXError& error) {
      return static_cast<int>(error.code());
    }
    return 0;
  }

  FileManager& files_ = FileManager::default_();
  Tests::MemoryVolume disk_{"1m"};
};

TEST_F(FullDisk, WritingThrowsUntilThereIsRoom) {
  const std::string large(600'000, 'a');
  EXPECT_EQ(codeOfWriting(large, "folder/first", false), 0);
  EXPECT_EQ(codeOfWriting(large, "folder/second", false), ENOSPC);
  EXPECT_EQ(files_.contents(URL::fileURLWithPath(disk_.path("folder/first"))).text(), large);
  std::filesystem::remove(disk_.path("folder/first"));
  EXPECT_EQ(codeOfWriting(large, "folder/second", false), 0);
  EXPECT_EQ(files_.contents(URL::fileURLWithPath(disk_.path("folder/second"))).text(), large);
}

TEST_F(FullDisk, FailedCopyLeavesNothing) {
  const Tests::TemporaryFolder folder;
  std::filesystem::create_directories(folder.path() + "/from/inner");
  std::ofstream(folder.path() + "/from/inner/small") << "1";
  std::ofstream(folder.path() + "/from/large") << std::string(2'000'000, 'a');
  for (const std::string name : {"from/large", "from"}) {
    try {
      files_.copyItem(URL::fileURLWithPath(folder.path() + "/" + name), URL::fileURLWithPath(disk_.path("copy")));
      ADD_FAILURE() << name << " fits";
    } catch (const POSIXError& error) {
      EXPECT_EQ(error.code(), ENOSPC);
    }
    EXPECT_FALSE(std::filesystem::exists(disk_.path("copy")));
  }
  std::filesystem::remove(folder.path() + "/from/large");
  files_.copyItem(URL::fileURLWithPath(folder.path() + "/from"), URL::fileURLWithPath(disk_.path("copy")));
  EXPECT_TRUE(std::filesystem::exists(disk_.path("copy/inner/small")));
}

TEST_F(FullDisk, FullDiskAtTheMarkKeepsTheFileAndThrows) {
  ASSERT_EQ(codeOfWriting("", "folder/file", false), 0);
  ASSERT_TRUE(disk_.fill("filler"));
  EXPECT_EQ(codeOfWriting("", "folder/file", true), ENOSPC);
  EXPECT_TRUE(files_.fileExists(disk_.path("folder/file")));
  EXPECT_FALSE(files_.fileExists(disk_.path("folder/CACHEDIR.TAG"))) << "no mark is better than half of one";
  std::filesystem::remove(disk_.path("filler"));
  EXPECT_EQ(codeOfWriting("", "folder/file", true), 0);
  EXPECT_TRUE(files_.isExcludedFromBackup(URL::fileURLWithPath(disk_.path("folder"))));
}

}  // namespace
}  // namespace Tessaly
