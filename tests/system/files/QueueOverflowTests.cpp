// SPDX-License-Identifier: MIT
// What is told when the kernel drops events because nobody takes them.
#include <gtest/gtest.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "Tessaly/Core/Foundation/ProcessInfo.hpp"
#include "Tessaly/Core/Tasks/SyncWait.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"
#include "Tessaly/Platform/Files/FileHandle.hpp"
#include "Tessaly/Platform/Files/FileSystemObjectSource.hpp"
#include "Tessaly/SystemServices/FileManager+DirectoryChanges.hpp"
#include "Tessaly/SystemServices/FileManager+FileSystemEventsExtensions.hpp"
#include "tests/Support/DirectoryModel.hpp"
#include "tests/Support/TemporaryFolder.hpp"

namespace Tessaly {
namespace {

/// Keeps every thread of the pool busy, so that no thread reads events.
class BusyPool {
 public:
  BusyPool() {
    const int threads = static_cast<int>(ProcessInfo::processInfo().activeProcessorCount());
    for (int thread = 0; thread < threads; ++thread) {
      tasks_.push_back(Task<>::detached([this]() -> Async<void> {
        ++busy_;
        busy_.notify_all();
        isOver_.wait(false);
        co_return;
      }));
    }
    for (int busy = busy_; busy < threads; busy = busy_) busy_.wait(busy);
  }
  BusyPool(const BusyPool&) = delete;
  BusyPool& operator=(const BusyPool&) = delete;
  ~BusyPool() {
    isOver_ = true;
    isOver_.notify_all();
    for (const auto& task : tasks_) syncWait([&]() -> Async<void> { co_await task.value(); });
  }

 private:
  std::atomic<int> busy_{0};
  std::atomic<bool> isOver_{false};
  std::vector<Task<>> tasks_;
};

class QueueOverflow : public testing::Test {
 protected:
  void SetUp() override {
    std::ifstream("/proc/sys/fs/inotify/max_queued_events") >> capacity_;
    if (capacity_ == 0 || capacity_ > 200'000) GTEST_SKIP() << "the kernel's queue holds " << capacity_ << " events";
    std::ofstream(path()) << "beginning";
  }

  [[nodiscard]] std::string path() const { return folder_.path() + "/file"; }
  [[nodiscard]] URL url() const { return URL::fileURLWithPath(path()); }

  /// Fills the queues of all watchers of the file, so that the kernel drops later events.
  void overflow() {
    const int witness = ::inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
    ASSERT_GE(::inotify_add_watch(witness, path().c_str(), IN_MODIFY | IN_ATTRIB), 0);
    std::ofstream file(path(), std::ios::app);
    // The kernel merges equal consecutive events.
    for (int event = 0; event < capacity_ + 16; event += 2) {
      file << '.' << std::flush;
      ::chmod(path().c_str(), 0600);
    }
    ASSERT_TRUE(hasOverflown(witness));
    ::close(witness);
  }

 private:
  static bool hasOverflown(int witness) {
    alignas(inotify_event) char buffer[64 * 1024];
    for (ssize_t size = 0; (size = ::read(witness, buffer, sizeof(buffer))) > 0;) {
      for (const char* position = buffer; position < buffer + size;) {
        inotify_event event;
        std::memcpy(&event, position, sizeof(event));
        if ((event.mask & IN_Q_OVERFLOW) != 0) return true;
        position += sizeof(event) + event.len;
      }
    }
    return false;
  }

  Tests::TemporaryFolder folder_;
  int capacity_ = 0;
};

TEST_F(QueueOverflow, OverflowCausesANewLookAtThePath) {
  syncWait([&]() -> Async<void> {
    auto changes = fileChanges(FileManager::default_(), url()).makeAsyncIterator();
    {
      const BusyPool pool;
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
      const BusyPool pool;
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
    const BusyPool pool;
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
