// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cerrno>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>

#include "Tessaly/Core/Foundation/POSIXError.hpp"
#include "Tessaly/Platform/Linux/DirectoryCursor.hpp"
#include "tests/Support/TemporaryFolder.hpp"

namespace Tessaly {
namespace {

using detail::DirectoryCursor;

class DirectoryCursorTest : public testing::Test {
 protected:
  static constexpr std::size_t levels = 3 * DirectoryCursor::openLevels;

  DirectoryCursorTest() { std::filesystem::create_directories(path(Tests::pathOfDepth(levels - 1))); }

  [[nodiscard]] std::string path(const std::string& name) const { return folder_.path() + "/" + name; }
  /// Goes down to the deepest directory.
  void enterAll() {
    cursor_.enter(folder_.path());
    while (const auto name = cursor_.nextName()) cursor_.enter(*name);
  }

  Tests::TemporaryFolder folder_;
  DirectoryCursor cursor_;
};

std::ptrdiff_t openDescriptors() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), std::filesystem::directory_iterator());
}

TEST_F(DirectoryCursorTest, ComesBackToClosedLevelsAndTheirNames) {
  std::ofstream(path("d/other")) << "text";
  const auto before = openDescriptors();
  cursor_.enter(folder_.path());
  cursor_.enter(cursor_.nextName().value());
  const std::string first = cursor_.nextName().value();
  const std::string second = cursor_.nextName().value();
  EXPECT_NE(first, second);
  cursor_.enter("d");
  while (const auto name = cursor_.nextName()) cursor_.enter(*name);
  EXPECT_EQ(cursor_.depth(), levels + 1);
  EXPECT_EQ(openDescriptors(), before + std::ptrdiff_t{DirectoryCursor::openLevels});
  while (cursor_.depth() > 0) {
    EXPECT_EQ(cursor_.nextName(), std::nullopt);
    cursor_.leave();
  }
  EXPECT_EQ(openDescriptors(), before);
}

TEST_F(DirectoryCursorTest, MovedDirectoryLeadsNotOutOfTheTree) {
  enterAll();
  std::filesystem::create_directories(path("outside"));
  // The directory above the moved one is closed, so the way up leads to another directory now.
  std::filesystem::rename(path(Tests::pathOfDepth(DirectoryCursor::openLevels)), path("outside/d"));
  try {
    while (cursor_.depth() > 0) cursor_.leave();
    ADD_FAILURE() << "the cursor left the tree";
  } catch (const POSIXError& error) {
    EXPECT_EQ(error.code(), ESTALE);
  }
}

TEST_F(DirectoryCursorTest, LinkIsNotEntered) {
  std::filesystem::create_directory_symlink(path("d"), path("link"));
  cursor_.enter(folder_.path());
  for (const char* const name : {"link", "d"}) {
    try {
      cursor_.enter(name);
      EXPECT_STREQ(name, "d");
    } catch (const POSIXError& error) {
      EXPECT_STREQ(name, "link");
      EXPECT_EQ(error.code(), ENOTDIR);
    }
  }
  EXPECT_EQ(cursor_.depth(), 2u);
}

}  // namespace
}  // namespace Tessaly
