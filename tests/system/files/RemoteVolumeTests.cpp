// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <linux/magic.h>
#include <sys/mount.h>
#include <sys/vfs.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "Tessaly/Core/Tasks/SyncWait.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"
#include "Tessaly/Platform/Testing/ManualClock.hpp"
#include "Tessaly/SystemServices/FileManager+DirectoryChanges.hpp"
#include "Tessaly/SystemServices/FileManager+FileSystemEventsExtensions.hpp"
#include "tests/Support/DirectoryModel.hpp"
#include "tests/Support/MemoryVolume.hpp"
#include "tests/Support/Pause.hpp"
#include "tests/Support/Process.hpp"
#include "tests/Support/TemporaryFolder.hpp"
#include "tests/Support/WaitUntil.hpp"

namespace Tessaly {
namespace {

/// A volume that others can write without an event on this system. It is a directory behind a file system in user space
/// without caches.
class RemoteVolume : public testing::Test {
 protected:
  RemoteVolume() : reason_(Tests::enterMountNamespace()) {
    if (!reason_.empty()) return;
    process_ = Tests::Process(
        {"bindfs", "-f", "-o", "attr_timeout=0,entry_timeout=0,negative_timeout=0", origin_.path(), volume_.path()});
    const auto isThere = [&] {
      struct statfs volume{};
      return ::statfs(volume_.path().c_str(), &volume) == 0 && volume.f_type == FUSE_SUPER_MAGIC;
    };
    if (!Tests::waitUntil(isThere)) reason_ = "bindfs cannot mount a volume";
  }
  ~RemoteVolume() override { ::umount2(volume_.path().c_str(), MNT_DETACH); }
  void SetUp() override {
    if (!reason_.empty()) GTEST_SKIP() << reason_;
  }

  /// The path of the file for another computer.
  [[nodiscard]] std::string theirs(const std::string& name) const { return origin_.path() + "/" + name; }
  [[nodiscard]] URL ours(const std::string& name) const { return URL::fileURLWithPath(volume_.path() + "/" + name); }

  Tests::TemporaryFolder origin_;
  Tests::TemporaryFolder volume_;
  Tests::Process process_;
  ManualClock clock_;
  std::string reason_;
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

}  // namespace
}  // namespace Tessaly
