// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>

#include "Tessaly/FoundationExtensions/NSFileCoordinator+Extensions.hpp"
#include "Tessaly/Platform/Foundation/POSIXError.hpp"
#include "Tessaly/Platform/Foundation/ProcessInfo.hpp"
#include "Tessaly/Platform/Tasks/SyncWait.hpp"
#include "tests/Platform/Foundation/TemporaryFolder.hpp"

namespace Tessaly {
namespace {

class ZipFiles : public testing::Test {
 protected:
  ZipFiles() { std::filesystem::create_directories(path("scratch")); }
  [[nodiscard]] std::string path(std::string_view name) const { return folder.path() + "/" + std::string(name); }
  [[nodiscard]] URL url(std::string_view name) const { return URL::fileURLWithPath(path(name)); }
  void put(std::string_view name, std::string_view text) const { std::ofstream(path(name)) << text; }
  static Data zip(std::vector<URL> urls) {
    return syncWait([&] { return zipFiles(NSFileCoordinator(), urls); });
  }

  TessalyTests::TemporaryFolder folder;
  ProcessInfo process{{.environment = std::map<std::string, std::string>{{"TMPDIR", path("scratch")}}}};
  ProcessInfo::Replacement replacement{process};
};

TEST_F(ZipFiles, OtherProgramsReadTheArchiveByteForByteAndNothingIsLeftBehind) {
  put("a.txt", "hello");
  put("\xC3\xA9t\xC3\xA9", std::string(100'000, 'x'));
  std::filesystem::create_directories(path("inner"));
  put("inner/b", "");
  zip({url("a.txt"), url("\xC3\xA9t\xC3\xA9"), url("inner")}).write(url("all.zip"));
  EXPECT_TRUE(std::filesystem::is_empty(path("scratch")));
  EXPECT_EQ(std::system(("unzip -tqq " + path("all.zip")).c_str()), 0);
  put("check.py", R"(
import sys, zipfile
archive = zipfile.ZipFile(sys.argv[1])
found = {name.split('/', 1)[1]: archive.read(name) for name in archive.namelist()}
assert found == {'': b'', 'a.txt': b'hello', 'été': b'x' * 100000, 'inner/': b'', 'inner/b': b''}, found.keys()
)");
  EXPECT_EQ(std::system(("python3 " + path("check.py") + " " + path("all.zip")).c_str()), 0);
}

TEST_F(ZipFiles, AMissingFileAndTwoOfOneNameAreErrorsAndNothingIsLeftBehind) {
  put("a", "1");
  std::filesystem::create_directories(path("other"));
  put("other/a", "2");
  EXPECT_THROW(zip({url("missing")}), POSIXError);
  try {
    zip({url("a"), url("other/a")});
    ADD_FAILURE();
  } catch (const POSIXError& error) {
    EXPECT_EQ(error.code(), EEXIST);
  }
  EXPECT_TRUE(std::filesystem::is_empty(path("scratch")));
}

TEST_F(ZipFiles, NoFilesAreAnArchiveOfAnEmptyFolder) { EXPECT_TRUE(zip({}).text().starts_with("PK")); }

}  // namespace
}  // namespace Tessaly
