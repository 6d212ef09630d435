// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "Tessaly/Core/Base/detail/OwnedDescriptor.hpp"
#include "Tessaly/Core/Foundation/POSIXError.hpp"
#include "Tessaly/Core/Tasks/SyncWait.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"
#include "Tessaly/Platform/Testing/ManualClock.hpp"
#include "Tessaly/SystemServices/FileManager+DirectoryChanges.hpp"
#include "Tessaly/SystemServices/FileManager+FileSystemEventsExtensions.hpp"
#include "tests/Support/ContentsOf.hpp"
#include "tests/Support/DirectoryModel.hpp"
#include "tests/Support/MemoryVolume.hpp"
#include "tests/Support/Pause.hpp"
#include "tests/Support/RemoteVolume.hpp"
#include "tests/Support/Repetitions.hpp"
#include "tests/Support/TemporaryFolder.hpp"

namespace Tessaly {
namespace {

using detail::OwnedDescriptor;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::UnorderedElementsAre;

class RemoteVolume : public testing::Test {
 protected:
  void SetUp() override {
    if (!volume_.reason().empty()) GTEST_SKIP() << volume_.reason();
  }

  [[nodiscard]] std::string theirs(const std::string& name) const { return volume_.theirs(name); }
  [[nodiscard]] URL ours(const std::string& name) const { return URL::fileURLWithPath(volume_.ours(name)); }

  static void expectEIO(int descriptor) {
    struct stat status{};
    EXPECT_EQ(::fstat(descriptor, &status), -1);
    EXPECT_EQ(errno, EIO);
  }
  static void expectEIO(const URL& file) {
    struct stat status{};
    EXPECT_EQ(::stat(file.path().c_str(), &status), -1);
    EXPECT_EQ(errno, EIO);
  }

  Tests::RemoteVolume volume_;
  ManualClock clock_;
};

TEST_F(RemoteVolume, FileIsPolledEverySecond) {
  std::ofstream(theirs("a")) << "1";
  syncWait([&]() -> Async<void> {
    auto changes = fileChanges(FileManager::default_(), ours("a"), clock_).makeAsyncIterator();
    const auto changeAfter = [&](const std::function<void()>& act) -> Async<FileChange> {
      Task<std::optional<FileChange>> next(
          [&]() -> Async<std::optional<FileChange>> { co_return co_await changes.next(); });
      while (clock_.timerCount() == 0) co_await Task<>::yield();
      act();
      co_await Tests::pause(100);
      EXPECT_FALSE(next.isFinished());
      clock_.advance(std::chrono::seconds(1));
      co_return (co_await next.value()).value();
    };
    EXPECT_EQ(co_await changeAfter([&] { std::ofstream(theirs("a")) << "twelve"; }), FileChange::contents);
    EXPECT_EQ(co_await changeAfter([&] {
                std::ofstream(theirs("b")) << "2";
                std::filesystem::rename(theirs("b"), theirs("a"));
              }),
              FileChange::replaced);
    EXPECT_EQ(co_await changeAfter([&] { std::filesystem::remove(theirs("a")); }), FileChange::removed);
    EXPECT_EQ(co_await changeAfter([&] { std::ofstream(theirs("a")) << "3"; }), FileChange::returned);
  });
}

TEST_F(RemoteVolume, DirectoryIsPolledEverySecond) {
  std::filesystem::create_directories(theirs("tree/a"));
  std::ofstream(theirs("tree/a/file")) << "1";
  syncWait([&]() -> Async<void> {
    auto changes = directoryChanges(FileManager::default_(), ours("tree"), {.depth = DirectoryDepth::tree}, clock_)
                       .makeAsyncIterator();
    Tests::DirectoryModel model;
    model.apply((co_await changes.next()).value());
    const auto expectAfter = [&](const std::function<void()>& act) -> Async<void> {
      Task<std::vector<DirectoryChange>> next(
          [&]() -> Async<std::vector<DirectoryChange>> { co_return (co_await changes.next()).value(); });
      while (clock_.timerCount() == 0) co_await Task<>::yield();
      act();
      clock_.advance(std::chrono::seconds(1));
      model.apply(co_await next.value());
      EXPECT_EQ(model.listing(), Tests::DirectoryModel::actualListing(theirs("tree"), DirectoryDepth::tree));
    };
    co_await expectAfter([&] { std::ofstream(theirs("tree/new")) << "2"; });
    co_await expectAfter([&] { std::ofstream(theirs("tree/a/file"), std::ios::app) << "longer"; });
    co_await expectAfter([&] { std::filesystem::rename(theirs("tree/a"), theirs("tree/b")); });
    co_await expectAfter([&] { std::filesystem::remove_all(theirs("tree/b")); });
  });
}

// FUSE gives EIO for a name while an inode is in use whose type was another one at its last examination.
TEST_F(RemoteVolume, UnreadableFileCountsAsRemoved) {
  std::ofstream(theirs("odd")) << "1";
  const auto source = FileManager::default_().makeFileChangeSource(ours("odd"), [] {});
  OwnedDescriptor used(::open(ours("odd").path().c_str(), O_RDONLY | O_CLOEXEC));
  std::filesystem::remove(theirs("odd"));
  std::filesystem::create_directory(theirs("odd"));
  expectEIO(used.get());
  std::filesystem::remove(theirs("odd"));
  std::ofstream(theirs("odd")) << "2";
  expectEIO(ours("odd"));
  EXPECT_EQ(source->takeChange(), FileChange::removed);
  used = OwnedDescriptor();
  EXPECT_EQ(source->takeChange(), FileChange::returned);
}

TEST_F(RemoteVolume, DirectoryThatWasAFileBetweenTwoLooksIsFollowed) {
  std::filesystem::create_directory(theirs("odd"));
  const auto source = FileManager::default_().makeDirectorySource(ours("odd"), DirectoryDepth::tree, [] {});
  EXPECT_THAT(source->takeChanges(), IsEmpty());
  OwnedDescriptor used(::open(ours("odd").path().c_str(), O_RDONLY | O_CLOEXEC));
  std::filesystem::remove(theirs("odd"));
  std::ofstream(theirs("odd")) << "file";
  expectEIO(used.get());
  used = OwnedDescriptor();
  std::filesystem::remove(theirs("odd"));
  std::filesystem::create_directory(theirs("odd"));
  std::ofstream(theirs("odd/inner")) << "1";
  expectEIO(ours("odd"));
  EXPECT_THAT(source->takeChanges(), SizeIs(1));
}

TEST_F(RemoteVolume, FileThatBecomesADirectoryAgainAndAgainIsFollowed) {
  std::filesystem::create_directory(theirs("odd"));
  const auto source = FileManager::default_().makeFileChangeSource(ours("odd"), [] {});
  std::atomic<bool> isDone = false;
  std::thread other([&] {
    for (int round = 0; round < Tests::repetitions(2'000); ++round) {
      std::filesystem::remove(theirs("odd"));
      std::ofstream(theirs("odd")) << "1";
      std::filesystem::remove(theirs("odd"));
      std::filesystem::create_directory(theirs("odd"));
    }
    isDone = true;
  });
  int changes = 0;
  EXPECT_NO_THROW({
    while (!isDone) changes += source->takeChange() ? 1 : 0;
  });
  other.join();
  EXPECT_GT(changes, 0);
}

TEST_F(RemoteVolume, UnreadableEntryDoesNotHideOtherEntries) {
  std::filesystem::create_directories(theirs("tree/odd"));
  const auto source = FileManager::default_().makeDirectorySource(ours("tree"), DirectoryDepth::tree, [] {});
  const auto names = [&] {
    std::vector<std::string> found;
    for (const DirectoryChange& change : source->takeChanges()) found.push_back(change.entry.path);
    return found;
  };
  EXPECT_THAT(names(), ElementsAre("odd"));
  OwnedDescriptor used(::open(ours("tree/odd").path().c_str(), O_RDONLY | O_CLOEXEC));
  std::filesystem::remove(theirs("tree/odd"));
  std::ofstream(theirs("tree/odd")) << "file";
  expectEIO(used.get());
  std::filesystem::remove(theirs("tree/odd"));
  std::filesystem::create_directory(theirs("tree/odd"));
  std::ofstream(theirs("tree/odd/inner")) << "1";
  expectEIO(ours("tree/odd"));
  std::ofstream(theirs("tree/other")) << "2";
  EXPECT_THAT(names(), UnorderedElementsAre("odd", "other"));
  used = OwnedDescriptor();
  EXPECT_THAT(names(), ElementsAre("odd", "odd/inner"));
}

TEST_F(RemoteVolume, FileInALaterRemoteDirectoryIsReported) {
  syncWait([&]() -> Async<void> {
    auto changes = fileChanges(FileManager::default_(), ours("folder/a"), clock_).makeAsyncIterator();
    Task<> next([&]() -> Async<void> { EXPECT_EQ(co_await changes.next(), FileChange::returned); });
    while (clock_.timerCount() == 0) co_await Task<>::yield();
    std::filesystem::create_directory(theirs("folder"));
    std::ofstream(theirs("folder/a")) << "1";
    clock_.advance(std::chrono::seconds(1));
    co_await next.value();
  });
}

TEST_F(RemoteVolume, LostVolumeDoesNotHideOtherEntries) {
  const Tests::TemporaryFolder folder;
  std::filesystem::create_directory(folder.path() + "/lost");
  std::ofstream(folder.path() + "/file") << "12";
  ASSERT_EQ(::mount(volume_.ours("").c_str(), (folder.path() + "/lost").c_str(), nullptr, MS_BIND, nullptr), 0);
  volume_.lose();
  struct stat status{};
  ASSERT_EQ(::stat((folder.path() + "/lost").c_str(), &status), -1);
  ASSERT_EQ(errno, ENOTCONN);
  FileManager& files = FileManager::default_();
  const URL url = URL::fileURLWithPath(folder.path());
  auto entries = files.contentsOfDirectory(url);
  std::ranges::sort(entries, {}, &DirectoryEntry::path);
  ASSERT_THAT(entries, SizeIs(2));
  EXPECT_EQ(entries[0].attributes.size, 2);
  EXPECT_EQ(entries[1].path, "lost");
  EXPECT_EQ(entries[1].attributes.type, FileType::directory);
  EXPECT_EQ(entries[1].attributes.size, 0);
  const auto source = files.makeDirectorySource(url, DirectoryDepth::tree, [] {});
  EXPECT_THAT(source->takeChanges(), SizeIs(1));
  ::umount2((folder.path() + "/lost").c_str(), MNT_DETACH);
}

// The volume's rename cannot refuse a name that is taken.
TEST_F(RemoteVolume, ItemsAreMovedWithoutReplacing) {
  FileManager& files = FileManager::default_();
  const auto codeOfMove = [&](const char* from, const char* to) {
    try {
      files.moveItem(ours(from), ours(to));
      return 0;
    } catch (const POSIXError& error) {
      return static_cast<int>(error.code());
    }
  };
  std::ofstream(theirs("a")) << "a";
  std::ofstream(theirs("taken")) << "taken";
  std::filesystem::create_directory(theirs("folder"));
  std::filesystem::create_symlink("nowhere", theirs("dangling"));
  EXPECT_EQ(codeOfMove("a", "taken"), EEXIST);
  EXPECT_EQ(codeOfMove("a", "dangling"), EEXIST);
  EXPECT_EQ(codeOfMove("folder", "folder/inner"), EINVAL);
  EXPECT_EQ(codeOfMove("missing", "b"), ENOENT);
  EXPECT_EQ(codeOfMove("a", "missing/b"), ENOENT);
  EXPECT_EQ(codeOfMove("a", "folder/b"), 0);
  EXPECT_EQ(codeOfMove("folder", "moved"), 0);
  EXPECT_EQ(Tests::contentsOf(theirs("moved/b")), "a");
  EXPECT_EQ(Tests::contentsOf(theirs("taken")), "taken");
}

TEST_F(RemoteVolume, LocalWritesAreNoticedAtOnce) {
  std::ofstream(theirs("a")) << "1";
  syncWait([&]() -> Async<void> {
    auto changes = fileChanges(FileManager::default_(), ours("a"), clock_).makeAsyncIterator();
    std::ofstream(ours("a").path()) << "twelve";
    EXPECT_EQ(co_await changes.next(), FileChange::contents);
    Task<> next([&]() -> Async<void> { EXPECT_EQ(co_await changes.next(), FileChange::contents); });
    while (clock_.timerCount() == 0) co_await Task<>::yield();
    std::ofstream(ours("a").path()) << "two";
    co_await next.value();
  });
}

// Without a time of creation, a new directory may look like a removed one whose watch has ended.
TEST(VolumeWithoutTimesOfCreation, DirectoryIsPolled) {
  const Tests::MemoryVolume volume("", "ramfs");
  if (!volume.reason().empty()) GTEST_SKIP() << volume.reason();
  const auto source =
      FileManager::default_().makeDirectorySource(URL::fileURLWithPath(volume.path()), DirectoryDepth::entries, [] {});
  std::ofstream(volume.path("file")) << "text";
  const auto changes = source->takeChanges();
  ASSERT_EQ(changes.size(), 1U);
  EXPECT_EQ(changes[0].entry.attributes.created, std::nullopt);
  EXPECT_TRUE(source->needsPolling());
}

}  // namespace
}  // namespace Tessaly
