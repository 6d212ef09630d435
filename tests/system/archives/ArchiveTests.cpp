// SPDX-License-Identifier: MIT
// Archives that fill their disk, and archives beyond the limits of the first version of the format. The disks are small
// file systems of the tests in mount namespaces.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "Tessaly/Core/Foundation/POSIXError.hpp"
#include "Tessaly/Core/Foundation/ProcessInfo.hpp"
#include "Tessaly/Core/Tasks/SyncWait.hpp"
#include "Tessaly/FoundationExtensions/NSFileCoordinator+Extensions.hpp"
#include "tests/Support/MemoryVolume.hpp"
#include "tests/Support/OutputOf.hpp"
#include "tests/Support/TemporaryFolder.hpp"

namespace Tessaly::inline v1 {
namespace {

using Tests::outputOf;

/// Text that does not compress.
std::string noise(std::size_t size) {
  std::string text;
  text.reserve(size);
  std::uint32_t state = 1;
  while (text.size() < size) {
    state = state * 1'664'525 + 1'013'904'223;
    text += static_cast<char>(state >> 24);
  }
  return text;
}

/// A small file system in memory for temporary files.
class SmallDisk : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!disk.reason().empty()) GTEST_SKIP() << disk.reason();
  }

  [[nodiscard]] URL put(const std::string& name, std::string_view text) const {
    std::ofstream(folder.path() + "/" + name, std::ios::binary) << text;
    return URL::fileURLWithPath(folder.path() + "/" + name);
  }
  static Data zip(std::vector<URL> urls) {
    return syncWait([&] { return zipFiles(NSFileCoordinator(), urls); });
  }
  static int codeOf(std::vector<URL> urls) {
    try {
      zip(std::move(urls));
      return 0;
    } catch (const POSIXError& error) {
      return error.code();
    }
  }
  void expectNothingLeft() const { EXPECT_TRUE(std::filesystem::is_empty(disk.path())); }

  Tests::TemporaryFolder folder;
  Tests::MemoryVolume disk{"4m,nr_inodes=100"};
  ProcessInfo process{{.environment = std::map<std::string, std::string>{{"TMPDIR", disk.path()}}}};
  ProcessInfo::Replacement replacement{process};
};

TEST_F(SmallDisk, CopiesThatFillItFailAndAreRemoved) {
  const URL large = put("large", noise(5'000'000));
  EXPECT_EQ(codeOf({large}), ENOSPC);
  expectNothingLeft();
  EXPECT_EQ(codeOf({put("small", "x"), large}), ENOSPC);
  expectNothingLeft();
  EXPECT_TRUE(zip({put("small", "x")}).text().starts_with("PK"));
}

TEST_F(SmallDisk, ArchiveThatFillsItFailsAndIsRemoved) {
  EXPECT_EQ(codeOf({put("large", noise(2'500'000))}), ENOSPC);
  expectNothingLeft();
  // The disk fills up at the end of the archive: there is room for the copies and all blocks but the last.
  for (std::size_t size = 2'090'000; size < 2'097'000; size += 2'500) {
    const int code = codeOf({put("half", noise(size))});
    EXPECT_TRUE(code == 0 || code == ENOSPC) << size << ' ' << code;
    expectNothingLeft();
  }
}

TEST_F(SmallDisk, MissingInodesFailAndLeaveNothing) {
  std::vector<URL> urls;
  for (int i = 0; i < 200; ++i) urls.push_back(put(std::to_string(i), ""));
  EXPECT_EQ(codeOf(urls), ENOSPC);
  expectNothingLeft();
}

TEST_F(SmallDisk, ReadOnlyVolumeIsAnError) {
  ASSERT_EQ(::mount("none", disk.path().c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0) << std::strerror(errno);
  EXPECT_EQ(codeOf({put("small", "x")}), EROFS);
}

bool isStress() {
  const char* stress = std::getenv("TESSALY_STRESS");
  return stress != nullptr && stress[0] == '1';
}

class LargeArchive : public ::testing::Test {
 protected:
  LargeArchive() { std::filesystem::create_directories(place("scratch")); }
  [[nodiscard]] std::string place(const std::string& name) const { return folder.path() + "/" + name; }
  [[nodiscard]] std::string python(const std::string& script) const {
    std::ofstream(place("check.py")) << script;
    return outputOf("python3 " + place("check.py") + " " + place("all.zip") + " 2>&1");
  }
  void zip(const std::vector<URL>& urls) const {
    syncWait([&] { return zipFiles(NSFileCoordinator(), urls); }).write(URL::fileURLWithPath(place("all.zip")));
  }

  Tests::TemporaryFolder folder;
  ProcessInfo process{{.environment = std::map<std::string, std::string>{{"TMPDIR", place("scratch")}}}};
  ProcessInfo::Replacement replacement{process};
};

/// Under `./run stress` there are more than 65,535 entries, so the archive needs a 64-bit number of entries.
TEST_F(LargeArchive, OtherProgramsReadManyEntries) {
  std::filesystem::create_directories(place("many"));
  const int count = isStress() ? 66'000 : 2'000;
  for (int i = 0; i < count; ++i) {
    const int file = ::open(place("many/" + std::to_string(i)).c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    ASSERT_GE(file, 0);
    ::close(file);
  }
  NSFileCoordinator().coordinateReading(
      URL::fileURLWithPath(place("many")), NSFileCoordinator::ReadingOptions::forUploading,
      [&](const URL& archive) { std::filesystem::rename(archive.path(), place("all.zip")); });
  EXPECT_EQ(python("import sys, zipfile\nnames = set(zipfile.ZipFile(sys.argv[1]).namelist())\n"
                   "print(len(names), all('many/%d' % i in names for i in range(len(names) - 1)))\n"),
            std::to_string(count + 1) + " True\n");
  EXPECT_EQ(outputOf("unzip -Zt " + place("all.zip") + " 2>&1 | cut -d' ' -f1"), std::to_string(count + 1) + "\n");
}

/// Under `./run stress` the file is larger than 4 GiB, so the archive needs a 64-bit size.
TEST_F(LargeArchive, OtherProgramsReadALargeSparseFile) {
  const std::uintmax_t size = isStress() ? (std::uintmax_t{4} << 30) + 17 : (std::uintmax_t{16} << 20) + 17;
  std::ofstream(place("sparse")) << "begin";
  std::filesystem::resize_file(place("sparse"), size - 3);
  std::ofstream(place("sparse"), std::ios::app) << "end";
  std::ofstream(place("after")) << "after";
  zip({URL::fileURLWithPath(place("sparse")), URL::fileURLWithPath(place("after"))});
  std::filesystem::remove(place("sparse"));
  const std::string found = python(R"(
import sys, zipfile
archive = zipfile.ZipFile(sys.argv[1])
for entry in sorted(archive.infolist(), key=lambda entry: entry.filename):
    name = entry.filename.split('/', 1)[1]
    total, first, last, zeros = 0, b'', b'', True
    with archive.open(entry) as file:
        while block := file.read(1 << 24):
            first = first or block[:5]
            last = (last + block[-3:])[-3:]
            total += len(block)
            zeros = zeros and len(block.strip(b'\0')) <= 5
    print(name, entry.file_size == total, total, first, last, zeros)
)");
  EXPECT_EQ(found, " True 0 b'' b'' True\nafter True 5 b'after' b'ter' True\nsparse True " + std::to_string(size) +
                       " b'begin' b'end' True\n");
  EXPECT_LT(std::filesystem::file_size(place("all.zip")), size / 500);
  EXPECT_EQ(outputOf("unzip -tqq " + place("all.zip") + " 2>&1"), "");
}

}  // namespace
}  // namespace Tessaly::inline v1
