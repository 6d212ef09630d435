// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <iterator>
#include <string>

#include "Tessaly/Core/Foundation/Data+AtomicWrite.hpp"
#include "Tessaly/Core/Foundation/POSIXError.hpp"
#include "Tessaly/Core/Foundation/URL.hpp"
#include "Tessaly/Core/Foundation/URLError.hpp"
#include "tests/Support/TemporaryFolder.hpp"

namespace Tessaly {
namespace {

namespace fs = std::filesystem;

class AtomicWrite : public testing::Test {
 protected:
  [[nodiscard]] fs::path path(const std::string& name) const { return fs::path(folder_.path()) / name; }
  [[nodiscard]] URL url(const std::string& name) const { return URL::fileURLWithPath(path(name).string()); }
  [[nodiscard]] std::string text(const std::string& name) const {
    return std::string(Data::contentsOf(url(name)).text());
  }
  [[nodiscard]] long fileCount() const {
    return std::distance(fs::directory_iterator(folder_.path()), fs::directory_iterator());
  }
  [[nodiscard]] std::int64_t errorOf(const URL& file) const {
    try {
      writeAtomically(Data("new"), file);
      return 0;
    } catch (const POSIXError& error) {
      return error.code();
    }
  }

  Tests::TemporaryFolder folder_;
};

TEST_F(AtomicWrite, ReaderOfTheOldFileKeepsItsContents) {
  Data("old").write(url("a"));
  fs::create_hard_link(path("a"), path("reader"));
  writeAtomically(Data("new"), url("a"));
  EXPECT_EQ(text("a"), "new");
  EXPECT_EQ(text("reader"), "old");
  EXPECT_EQ(fileCount(), 2);
}

TEST_F(AtomicWrite, NewFileHasTheModeOfAPlainWrite) {
  Data("plain").write(url("plain"));
  writeAtomically(Data("new"), url("a"));
  EXPECT_EQ(fs::status(path("a")).permissions(), fs::status(path("plain")).permissions());
}

TEST_F(AtomicWrite, OldFilePassesOnItsMode) {
  Data("old").write(url("a"));
  ASSERT_EQ(::chmod(path("a").c_str(), 0640), 0);
  writeAtomically(Data("new"), url("a"));
  EXPECT_EQ(fs::status(path("a")).permissions(), fs::perms(0640));
}

TEST_F(AtomicWrite, SymbolicLinksAreFollowedAndStay) {
  fs::create_directory(path("far"));
  Data("old").write(url("far/file"));
  fs::create_symlink("far/file", path("second"));
  fs::create_symlink("second", path("first"));
  fs::create_symlink("far/none", path("dangling"));
  writeAtomically(Data("new"), url("first"));
  writeAtomically(Data("made"), url("dangling"));
  EXPECT_TRUE(fs::is_symlink(path("first")));
  EXPECT_TRUE(fs::is_symlink(path("second")));
  EXPECT_EQ(text("far/file"), "new");
  EXPECT_EQ(text("far/none"), "made");
}

TEST_F(AtomicWrite, FailuresAreThoseOfAPlainWriteAndLeaveNothing) {
  fs::create_directory(path("directory"));
  fs::create_symlink("loop", path("loop"));
  EXPECT_EQ(errorOf(url("missing/a")), ENOENT);
  EXPECT_EQ(errorOf(url("directory")), EISDIR);
  EXPECT_EQ(errorOf(url("loop")), ELOOP);
  EXPECT_EQ(errorOf(url(std::string(300, 'n'))), ENAMETOOLONG);
  EXPECT_THROW(writeAtomically(Data("new"), URL::from("https://example.org/a").value()), URLError);
  EXPECT_EQ(fileCount(), 2);
}

TEST_F(AtomicWrite, DeviceIsWrittenInPlace) { EXPECT_EQ(errorOf(URL::fileURLWithPath("/dev/full")), ENOSPC); }

}  // namespace
}  // namespace Tessaly
