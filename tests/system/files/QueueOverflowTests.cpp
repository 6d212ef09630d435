// SPDX-License-Identifier: MIT
// Events that the kernel drops because its queue is full.
#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include "Tessaly/Core/Tasks/SyncWait.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"
#include "Tessaly/Platform/Files/FileHandle.hpp"
#include "Tessaly/Platform/Files/FileSystemObjectSource.hpp"
#include "Tessaly/SystemServices/FileManager+DirectoryChanges.hpp"
#include "Tessaly/SystemServices/FileManager+FileSystemEventsExtensions.hpp"
#include "tests/Support/DirectoryModel.hpp"
#include "tests/Support/TemporaryFolder.hpp"
#include "tests/Support/UnreadEvents.hpp"

namespace Tessaly {
namespace {

class QueueOverflow : public testing::Test {
 protected:
  void SetUp() override {
    const int length = Tests::lengthOfEventQueue();
    if (length == 0 || length > 200'000) GTEST_SKIP() << "the kernel's queue holds " << length << " events";
    std::ofstream(path()) << "beginning";
  }

  [[nodiscard]] std::string path() const { return folder_.path() + "/file"; }
  [[nodiscard]] URL url() const { return URL::fileURLWithPath(path()); }
  void overflow() const { Tests::overflowEventQueues(path()); }

  Tests::TemporaryFolder folder_;
};

TEST_F(QueueOverflow, OverflowCausesANewLookAtThePath) {
  syncWait([&]() -> Async<void> {
    auto changes = fileChanges(FileManager::default_(), url()).makeAsyncIterator();
    {
      const Tests::UnreadEvents unread;
      overflow();
      std::ofstream(path() + ".new") << "replacement";
      std::filesystem::rename(path() + ".new", path());
    }
    EXPECT_EQ(co_await changes.next(), FileChange::replaced);
    std::ofstream(path(), std::ios::app) << "more";
    EXPECT_EQ(co_await changes.next(), FileChange::contents);
    std::filesystem::remove(path());
    std::optional<FileChange> last = FileChange::contents;
    while (last == FileChange::contents) last = co_await changes.next();
    EXPECT_EQ(last, FileChange::removed);
  });
}

TEST_F(QueueOverflow, DirectoryIsListedAgain) {
  const std::string root = path() + ".tree";
  std::filesystem::create_directories(root + "/a/b");
  std::ofstream(root + "/a/b/kept") << "text";
  std::ofstream(root + "/a/removed") << "text";
  syncWait([&]() -> Async<void> {
    auto changes =
        directoryChanges(FileManager::default_(), URL::fileURLWithPath(root), {.depth = DirectoryDepth::tree})
            .makeAsyncIterator();
    Tests::DirectoryModel model;
    model.apply((co_await changes.next()).value());
    {
      const Tests::UnreadEvents unread;
      overflow();
      // No host is notified of these.
      std::filesystem::remove(root + "/a/removed");
      std::filesystem::create_directories(root + "/new/inner");
      std::filesystem::rename(root + "/a/b", root + "/new/inner/b");
      std::ofstream(root + "/new/inner/b/kept", std::ios::app) << "longer";
      std::ofstream(root + "/new/inner/b/added") << "text";
    }
    const std::string expected = Tests::DirectoryModel::actualListing(root, DirectoryDepth::tree);
    while (model.listing() != expected) model.apply((co_await changes.next()).value());
    // New entries are watched.
    std::ofstream(root + "/new/inner/b/added", std::ios::app) << "longer";
    const auto last = (co_await changes.next()).value();
    EXPECT_EQ(last.at(0).entry.path, "new/inner/b/added");
  });
}

TEST_F(QueueOverflow, CountsAsAWriteAndLosesNoRemoval) {
  FileManager& files = FileManager::default_();
  const auto handle = std::make_shared<FileHandle>(files.openForReading(url()));
  const auto mask = FileSystemEvent::write | FileSystemEvent::delete_;
  const auto source = files.makeFileSystemObjectSource(handle->fileDescriptor(), mask, OS_dispatch_queue::global());
  std::atomic<std::uint32_t> fired{0};
  std::atomic<bool> isOver{false};
  source->setEventHandler([&, weak = std::weak_ptr(source)] { fired |= weak.lock()->data().rawValue(); });
  source->setCancelHandler([&] { isOver = true; });
  source->resume();
  {
    const Tests::UnreadEvents unread;
    overflow();
    std::filesystem::remove(path());
  }
  while (!FileSystemEvent(fired).contains(mask)) std::this_thread::yield();
  source->cancel();
  while (!isOver) std::this_thread::yield();
}

TEST_F(QueueOverflow, OverflowEndsTheWaitForAWrite) {
  syncWait([&]() -> Async<void> {
    auto writes = writeFileSystemEvents(FileManager::default_(), url(), 0.01).makeAsyncIterator();
    for (int round = 0; round < 2; ++round) {
      Task<bool> next([&]() -> Async<bool> { co_return (co_await writes.next()).has_value(); });
      // A write before the watch is not noticed, so the test writes until one is noticed.
      while (!next.isFinished()) {
        std::ofstream(path() + ".new") << "replacement";
        std::filesystem::rename(path() + ".new", path());
        co_await Task<>::yield();
        overflow();
        co_await Task<>::yield();
      }
      EXPECT_TRUE(co_await next.value());
    }
  });
}

}  // namespace
}  // namespace Tessaly
