// SPDX-License-Identifier: MIT
// Volumes that come and go while their files are followed. Each test mounts them for its process alone.
#include <gtest/gtest.h>
#include <sys/mount.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <string>

#include "Tessaly/Platform/Bookmarks/Bookmarks.hpp"
#include "Tessaly/Platform/Files/FileManager.hpp"
#include "tests/Support/DirectoryModel.hpp"
#include "tests/Support/MemoryVolume.hpp"
#include "tests/Support/WaitUntil.hpp"

namespace Tessaly {
namespace {

class Mounts : public testing::Test {
 protected:
  void SetUp() override {
    if (!disk_.reason().empty()) GTEST_SKIP() << disk_.reason();
    std::filesystem::create_directories(disk_.path("root/stick"));
  }
  void plugIn() const { ASSERT_EQ(::mount("tmpfs", stick().c_str(), "tmpfs", 0, "size=1m"), 0); }
  void plugOut() const { ASSERT_EQ(::umount2(stick().c_str(), MNT_DETACH), 0); }
  /// Mounts an overlay with the file "folder/file" in its lower layer. Returns false and sets `errno` if it cannot.
  [[nodiscard]] bool overlay() const {
    for (const char* name : {"lower/folder", "upper", "work"}) std::filesystem::create_directories(disk_.path(name));
    std::ofstream(disk_.path("lower/folder/file")) << "1";
    const std::string options =
        "lowerdir=" + disk_.path("lower") + ",upperdir=" + disk_.path("upper") + ",workdir=" + disk_.path("work");
    return ::mount("overlay", stick().c_str(), "overlay", 0, options.c_str()) == 0;
  }
  [[nodiscard]] std::string stick() const { return disk_.path("root/stick"); }

  FileManager& files_ = FileManager::default_();
  Tests::MemoryVolume disk_{"8m"};
  std::atomic<int> wakes_ = 0;
};

TEST_F(Mounts, FileOfAVolumeIsReportedWhenTheVolumeComesAndGoes) {
  const auto source = files_.makeFileChangeSource(URL::fileURLWithPath(stick() + "/file"), [this] { ++wakes_; });
  const auto expectNext = [&](FileChange expected) {
    std::optional<FileChange> change;
    EXPECT_TRUE(
        Tests::waitUntil([&] { return wakes_.exchange(0) > 0 && (change = source->takeChange()).has_value(); }));
    EXPECT_EQ(change, expected);
  };
  for (int round = 0; round < 3; ++round) {
    plugIn();
    std::ofstream(stick() + "/file") << "1";
    expectNext(FileChange::returned);
    std::ofstream(stick() + "/file") << "twelve";
    expectNext(FileChange::contents);
    plugOut();
    expectNext(FileChange::removed);
  }
}

TEST_F(Mounts, VolumeInAFollowedTreeIsListed) {
  const auto source =
      files_.makeDirectorySource(URL::fileURLWithPath(disk_.path("root")), DirectoryDepth::tree, [this] { ++wakes_; });
  Tests::DirectoryModel model;
  model.apply(source->takeChanges());
  const auto expectModelOfTheTree = [&] {
    const std::string expected = Tests::DirectoryModel::actualListing(disk_.path("root"), DirectoryDepth::tree);
    EXPECT_TRUE(Tests::waitUntil([&] {
      if (wakes_.exchange(0) > 0) model.apply(source->takeChanges());
      return model.listing() == expected;
    })) << expected
        << "is not\n"
        << model.listing();
  };
  plugIn();
  std::ofstream(stick() + "/file") << "1";
  expectModelOfTheTree();
  std::ofstream(stick() + "/other") << "2";
  expectModelOfTheTree();
  plugOut();
  expectModelOfTheTree();
}

TEST_F(Mounts, BookmarkOfAnOverlayLeadsToTheFileAfterItsFirstWrite) {
  if (!overlay()) GTEST_SKIP() << "no overlay: " << std::strerror(errno);
  Bookmarks& bookmarks = Bookmarks::system();
  const URL file = URL::fileURLWithPath(stick() + "/folder/file");
  const Data data = bookmarks.bookmarkData(file, {});
  std::ofstream(file.path(), std::ios::app) << "2";
  const ResolvedBookmark resolved = bookmarks.resolve(data, {});
  EXPECT_EQ(resolved.url, file);
  EXPECT_FALSE(resolved.isStale);
}

// Overlayfs copies a directory before the first write in it. The copy has no event and another time of creation.
TEST_F(Mounts, DirectoryOfAnOverlayIsFollowedAfterItsFirstWrite) {
  if (!overlay()) GTEST_SKIP() << "no overlay: " << std::strerror(errno);
  const auto source = files_.makeDirectorySource(URL::fileURLWithPath(stick()), DirectoryDepth::tree, [] {});
  Tests::DirectoryModel model;
  model.apply(source->takeChanges());
  std::ofstream(stick() + "/folder/file", std::ios::app) << "2";
  model.apply(source->takeChanges());
  std::ofstream(stick() + "/folder/new") << "345";
  std::filesystem::remove(stick() + "/folder/file");
  // The host takes the changes each second while `needsPolling` says so.
  for (int second = 0; second < 3 && source->needsPolling(); ++second) model.apply(source->takeChanges());
  EXPECT_EQ(model.listing(), Tests::DirectoryModel::actualListing(stick(), DirectoryDepth::tree));
  std::ofstream(stick() + "/folder/newer") << "6";
  model.apply(source->takeChanges());
  EXPECT_EQ(model.listing(), Tests::DirectoryModel::actualListing(stick(), DirectoryDepth::tree));
}

}  // namespace
}  // namespace Tessaly
