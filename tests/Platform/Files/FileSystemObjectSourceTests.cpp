// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <thread>

#include "Tessaly/Core/Foundation/POSIXError.hpp"
#include "Tessaly/Platform/Files/FileManager.hpp"
#include "Tessaly/Platform/Files/FileSystemObjectSource.hpp"
#include "tests/Support/InotifyWatches.hpp"
#include "tests/Support/Repetitions.hpp"
#include "tests/Support/TemporaryFolder.hpp"
#include "tests/Support/WaitUntil.hpp"

namespace Tessaly {
namespace {

using Tests::repetitions;
using Tests::TemporaryFolder;

class FileSystemObjectSourceTest : public testing::Test {
 protected:
  /// A source of the file, and the kinds of its events.
  struct Watched {
    std::shared_ptr<FileHandle> handle;
    std::shared_ptr<FileSystemObjectSource> source;
    std::shared_ptr<std::atomic<std::uint32_t>> fired = std::make_shared<std::atomic<std::uint32_t>>(0);
    std::shared_ptr<std::atomic<int>> cancelled = std::make_shared<std::atomic<int>>(0);

    void expect(FileSystemEvent event) const {
      while (!FileSystemEvent(fired->load()).contains(event)) std::this_thread::yield();
    }
  };

  [[nodiscard]] std::string path(std::string_view name) const { return folder.path() + "/" + std::string(name); }
  void put(std::string_view name, std::string_view text) const { std::ofstream(path(name)) << text; }
  Watched watch(std::string_view name, FileSystemEvent mask) {
    Watched watched;
    watched.handle = std::make_shared<FileHandle>(files.openForReading(URL::fileURLWithPath(path(name))));
    watched.source =
        files.makeFileSystemObjectSource(watched.handle->fileDescriptor(), mask, OS_dispatch_queue::global());
    watched.source->setEventHandler([source = std::weak_ptr(watched.source), fired = watched.fired] {
      *fired |= source.lock()->data().rawValue();
    });
    watched.source->setCancelHandler([handle = watched.handle, cancelled = watched.cancelled] {
      handle->close();
      ++*cancelled;
    });
    return watched;
  }
  static void end(const Watched& watched) {
    watched.source->cancel();
    watched.source->cancel();
    while (*watched.cancelled == 0) std::this_thread::yield();
    EXPECT_EQ(watched.handle->fileDescriptor(), -1);
  }

  TemporaryFolder folder;
  FileManager& files = FileManager::default_();
};

TEST_F(FileSystemObjectSourceTest, ReportsWritesGrowthAndTruncation) {
  put("a", "one");
  const Watched watched = watch("a", FileSystemEvent::write);
  watched.source->resume();
  std::ofstream(path("a"), std::ios::app) << "two";
  watched.expect(FileSystemEvent::write | FileSystemEvent::extend);
  *watched.fired = 0;
  ASSERT_EQ(::truncate(path("a").c_str(), 0), 0);
  watched.expect(FileSystemEvent::write);
  EXPECT_FALSE(FileSystemEvent(watched.fired->load()).contains(FileSystemEvent::extend));
  end(watched);
}

TEST_F(FileSystemObjectSourceTest, EndInAForkedChildDoesNotEndTheParents) {
  put("a", "one");
  Watched watched = watch("a", FileSystemEvent::write);
  watched.source->resume();
  const pid_t child = ::fork();
  if (child == 0) {
    watched.source->cancel();
    watched.source.reset();
    ::_exit(0);
  }
  int status = -1;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  std::ofstream(path("a"), std::ios::app) << "two";
  watched.expect(FileSystemEvent::write);
  end(watched);
}

TEST_F(FileSystemObjectSourceTest, ReportsRemovalWhileTheFileIsOpen) {
  put("a", "one");
  const Watched watched = watch("a", FileSystemEvent::delete_);
  watched.source->resume();
  ASSERT_EQ(::chmod(path("a").c_str(), 0600), 0);
  std::filesystem::remove(path("a"));
  watched.expect(FileSystemEvent::delete_);
  end(watched);
}

TEST_F(FileSystemObjectSourceTest, AtomicReplacementRemovesTheFile) {
  put("a", "one");
  put("b", "two");
  const Watched watched = watch("a", FileSystemEvent::delete_);
  watched.source->resume();
  std::filesystem::rename(path("b"), path("a"));
  watched.expect(FileSystemEvent::delete_);
  end(watched);
}

TEST_F(FileSystemObjectSourceTest, LosingItsOwnNameIsARemoval) {
  put("a", "one");
  std::filesystem::create_hard_link(path("a"), path("b"));
  const Watched watched = watch("a", FileSystemEvent::delete_ | FileSystemEvent::link);
  watched.source->resume();
  std::filesystem::remove(path("b"));
  watched.expect(FileSystemEvent::link);
  EXPECT_FALSE(FileSystemEvent(watched.fired->load()).contains(FileSystemEvent::delete_));
  std::filesystem::create_hard_link(path("a"), path("b"));
  std::filesystem::remove(path("a"));
  watched.expect(FileSystemEvent::delete_);
  end(watched);
}

TEST_F(FileSystemObjectSourceTest, FileRemovedBeforeTheWatchCountsAsRemoved) {
  put("a", "one");
  const Watched watched = watch("a", FileSystemEvent::delete_);
  std::filesystem::remove(path("a"));
  watched.source->resume();
  watched.expect(FileSystemEvent::delete_);
  end(watched);
}

TEST_F(FileSystemObjectSourceTest, ReportsRenamingAndAttributes) {
  put("a", "one");
  const Watched watched = watch("a", FileSystemEvent::all);
  watched.source->resume();
  ASSERT_EQ(::chmod(path("a").c_str(), 0600), 0);
  watched.expect(FileSystemEvent::attrib);
  std::filesystem::rename(path("a"), path("b"));
  watched.expect(FileSystemEvent::rename);
  end(watched);
}

TEST_F(FileSystemObjectSourceTest, EntriesOfADirectoryAreItsContents) {
  const Watched watched = watch("", FileSystemEvent::write);
  watched.source->resume();
  put("a", "one");
  watched.expect(FileSystemEvent::write);
  end(watched);
}

TEST_F(FileSystemObjectSourceTest, TwoSourcesOfOneFileAreIndependent) {
  put("a", "one");
  const Watched first = watch("a", FileSystemEvent::write);
  const Watched second = watch("a", FileSystemEvent::delete_);
  first.source->resume();
  second.source->resume();
  put("a", "two");
  first.expect(FileSystemEvent::write);
  end(first);
  EXPECT_EQ(second.fired->load(), 0u);
  std::filesystem::remove(path("a"));
  second.expect(FileSystemEvent::delete_);
  EXPECT_FALSE(FileSystemEvent(first.fired->load()).contains(FileSystemEvent::delete_));
  end(second);
}

TEST_F(FileSystemObjectSourceTest, SourceIgnoresEarlierWrites) {
  put("a", "one");
  const Watched early = watch("a", FileSystemEvent::write);
  early.source->resume();
  for (int round = 0; round < repetitions(200); ++round) {
    put("a", "two");
    const Watched late = watch("a", FileSystemEvent::write);
    late.source->resume();
    end(late);
    ASSERT_EQ(late.fired->load(), 0u);
  }
  end(early);
}

TEST_F(FileSystemObjectSourceTest, CancelHandlerIsCalledOnceAndLast) {
  put("a", "one");
  for (int round = 0; round < repetitions(200); ++round) {
    const Watched watched = watch("a", FileSystemEvent::write);
    watched.source->resume();
    std::thread writer([&] { put("a", "two"); });
    end(watched);
    writer.join();
    ASSERT_EQ(watched.cancelled->load(), 1);
  }
}

TEST_F(FileSystemObjectSourceTest, SourceCancelledBeforeItsStartOnlyEnds) {
  put("a", "one");
  const Watched watched = watch("a", FileSystemEvent::write);
  end(watched);
  EXPECT_EQ(watched.fired->load(), 0u);
}

TEST_F(FileSystemObjectSourceTest, CancelledSourceLeavesNoWatch) {
  put("a", "one");
  const Watched before = watch("a", FileSystemEvent::write);
  end(before);
  before.source->resume();
  EXPECT_EQ(Tests::watchCount(), 0);
  for (int round = 0; round < repetitions(200); ++round) {
    const Watched during = watch("a", FileSystemEvent::write);
    std::thread other([&] { during.source->cancel(); });
    for (int i = 0; i < round % 20; ++i) std::this_thread::yield();
    EXPECT_NO_THROW(during.source->resume());
    other.join();
    end(during);
    ASSERT_EQ(Tests::watchCount(), 0) << round;
  }
}

TEST_F(FileSystemObjectSourceTest, HandlerLivesUntilItReturns) {
  put("a", "one");
  const Watched watched = watch("a", FileSystemEvent::write);
  auto resource = std::make_shared<int>(5);
  std::atomic<long> holders = -1;
  watched.source->setEventHandler([&holders, source = watched.source.get(), held = resource] {
    const std::weak_ptr<int> witness = held;
    std::atomic<long>& result = holders;
    source->setEventHandler({});
    result = witness.use_count();
  });
  resource.reset();
  watched.source->resume();
  put("a", "two");
  EXPECT_TRUE(Tests::waitUntil([&] { return holders >= 0; }));
  EXPECT_GT(holders, 0);
  end(watched);
}

TEST_F(FileSystemObjectSourceTest, InvalidDescriptorIsRefused) {
  const auto source = files.makeFileSystemObjectSource(-1, FileSystemEvent::write, OS_dispatch_queue::global());
  EXPECT_THROW(source->resume(), POSIXError);
}

}  // namespace
}  // namespace Tessaly
