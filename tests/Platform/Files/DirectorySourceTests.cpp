// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Tessaly/Core/Foundation/POSIXError.hpp"
#include "Tessaly/Platform/Files/DirectorySource.hpp"
#include "Tessaly/Platform/Files/FileManager.hpp"
#include "tests/Support/DirectoryModel.hpp"
#include "tests/Support/Repetitions.hpp"
#include "tests/Support/TemporaryFolder.hpp"

namespace Tessaly {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Tests::DirectoryModel;

/// A text for each change: "appeared a", "renamed a -> b", ...
std::vector<std::string> described(const std::vector<DirectoryChange>& changes) {
  std::vector<std::string> lines;
  for (const DirectoryChange& change : changes) {
    const std::string former = change.formerPath.empty() ? "" : change.formerPath + " -> ";
    lines.push_back(std::string(description(change.kind)) + " " + former + change.entry.path);
  }
  return lines;
}

class DirectorySourceTest : public testing::Test {
 protected:
  DirectorySourceTest() { std::filesystem::create_directory(root()); }
  [[nodiscard]] std::string root() const { return folder_.path() + "/root"; }
  [[nodiscard]] std::string path(const std::string& name) const { return root() + "/" + name; }
  void put(const std::string& name, std::string_view text = "text") const {
    std::ofstream(path(name), std::ios::binary) << text;
  }
  void follow(DirectoryDepth depth) {
    depth_ = depth;
    source_ = FileManager::default_().makeDirectorySource(URL::fileURLWithPath(root()), depth, [this] { ++wakes_; });
    model_ = {};
    take();
  }
  /// Takes the changes, applies them to the model, and compares the model with the directory.
  std::vector<std::string> take() {
    const auto changes = source_->takeChanges();
    model_.apply(changes);
    EXPECT_EQ(model_.listing(), DirectoryModel::actualListing(root(), depth_));
    return described(changes);
  }
  /// Takes the changes as an ordinary user, because root may read everything.
  std::vector<std::string> takeAsNobody() {
    constexpr uid_t nobody = 65534;
    const uid_t user = ::geteuid();
    EXPECT_EQ(::seteuid(user == 0 ? nobody : user), 0);
    const auto changes = source_->takeChanges();
    EXPECT_EQ(::seteuid(user), 0);
    return described(changes);
  }
  int codeOfTake() {
    try {
      static_cast<void>(source_->takeChanges());
      return 0;
    } catch (const POSIXError& error) {
      return static_cast<int>(error.code());
    }
  }

  Tests::TemporaryFolder folder_;
  DirectoryDepth depth_ = DirectoryDepth::entries;
  std::atomic<int> wakes_{0};
  std::unique_ptr<DirectorySource> source_;
  DirectoryModel model_;
};

TEST_F(DirectorySourceTest, FirstTakeListsEntriesWithAttributes) {
  put("a", "12345");
  std::filesystem::create_directory(path("b"));
  std::filesystem::create_symlink("a", path("c"));
  ASSERT_EQ(::mkfifo(path("d").c_str(), 0600), 0);
  const timespec times[2]{{.tv_sec = 1'000'000'000, .tv_nsec = 0}, {.tv_sec = 1'000'000'001, .tv_nsec = 500'000'000}};
  ASSERT_EQ(::utimensat(AT_FDCWD, path("a").c_str(), times, 0), 0);
  follow(DirectoryDepth::entries);
  EXPECT_EQ(model_.listing(), "a 0 5\nb 1\nc 2\nd 3\n");
  EXPECT_EQ(model_.entries().at("a").modified, Date::since1970(1'000'000'001.5));
  EXPECT_GT(model_.entries().at("a").created, Date::since1970(1'000'000'001.5));
  EXPECT_THAT(take(), IsEmpty());
}

TEST_F(DirectorySourceTest, EveryKindOfChangeIsReported) {
  follow(DirectoryDepth::entries);
  put("a");
  EXPECT_THAT(take(), ElementsAre("appeared a"));
  put("a", "longer text");
  EXPECT_THAT(take(), ElementsAre("changed a"));
  std::filesystem::rename(path("a"), path("b"));
  EXPECT_THAT(take(), ElementsAre("renamed a -> b"));
  std::filesystem::create_hard_link(path("b"), path("c"));
  EXPECT_THAT(take(), ElementsAre("appeared c"));
  std::filesystem::remove(path("b"));
  EXPECT_THAT(take(), ElementsAre("disappeared b"));
  put("other", "new");
  take();
  std::filesystem::rename(path("other"), path("c"));
  EXPECT_THAT(take(), ElementsAre("disappeared c", "renamed other -> c"));
  std::filesystem::rename(path("c"), folder_.path() + "/outside");
  EXPECT_THAT(take(), ElementsAre("disappeared c"));
  std::filesystem::rename(folder_.path() + "/outside", path("d"));
  EXPECT_THAT(take(), ElementsAre("appeared d"));
  EXPECT_FALSE(source_->needsPolling());
}

TEST_F(DirectorySourceTest, OnlyTreesReportEntriesOfSubdirectories) {
  std::filesystem::create_directories(path("a/b"));
  put("a/b/c");
  follow(DirectoryDepth::entries);
  EXPECT_EQ(model_.listing(), "a 1\n");
  put("a/new");
  EXPECT_THAT(take(), IsEmpty());
  follow(DirectoryDepth::tree);
  EXPECT_EQ(model_.listing(), "a 1\na/b 1\na/b/c 0 4\na/new 0 4\n");
  put("a/b/c", "longer text");
  EXPECT_THAT(take(), ElementsAre("changed a/b/c"));
}

TEST_F(DirectorySourceTest, MovedDirectoryIsOneChange) {
  std::filesystem::create_directories(path("a/b"));
  std::filesystem::create_directory(path("x"));
  put("a/b/c");
  follow(DirectoryDepth::tree);
  put("a/b/d");  // The event has a path that has changed when the source examines it.
  std::filesystem::rename(path("a"), path("x/y"));
  put("x/y/b/e");
  EXPECT_THAT(take(), testing::UnorderedElementsAre("renamed a -> x/y", "appeared x/y/b/d", "appeared x/y/b/e"));
  put("x/y/b/c", "longer text");
  EXPECT_THAT(take(), ElementsAre("changed x/y/b/c"));
}

TEST_F(DirectorySourceTest, DirectoryThatBecomesReachableIsListed) {
  // A path of more than 4,095 bytes cannot be opened.
  const std::string part(255, 'd');
  int deepest = ::open(root().c_str(), O_RDONLY | O_DIRECTORY);
  for (int level = 0; level < 15; ++level) {
    ASSERT_EQ(::mkdirat(deepest, part.c_str(), 0700), 0);
    const int next = ::openat(deepest, part.c_str(), O_RDONLY | O_DIRECTORY);
    ::close(std::exchange(deepest, next));
  }
  ASSERT_EQ(::mkdirat(deepest, part.c_str(), 0700), 0);
  ASSERT_EQ(::mkdirat(deepest, (part + "/inner").c_str(), 0700), 0);
  source_ = FileManager::default_().makeDirectorySource(URL::fileURLWithPath(root()), DirectoryDepth::tree, [] {});
  EXPECT_EQ(source_->takeChanges().size(), 16U);
  ASSERT_EQ(::renameat(deepest, part.c_str(), AT_FDCWD, path("near").c_str()), 0);
  ::close(deepest);
  EXPECT_THAT(described(source_->takeChanges()), testing::Contains("appeared near/inner"));
}

TEST_F(DirectorySourceTest, FileMovedIntoNewDirectoryIsRenamed) {
  put("a");
  follow(DirectoryDepth::tree);
  std::filesystem::create_directories(path("new/inner"));
  std::filesystem::rename(path("a"), path("new/inner/a"));
  EXPECT_THAT(take(), ElementsAre("appeared new", "appeared new/inner", "renamed a -> new/inner/a"));
}

TEST_F(DirectorySourceTest, ExchangedNamesAreAppliedInOrder) {
  put("a", "1");
  put("b", "22");
  put("c", "333");
  follow(DirectoryDepth::entries);
  ASSERT_EQ(::renameat2(AT_FDCWD, path("a").c_str(), AT_FDCWD, path("b").c_str(), RENAME_EXCHANGE), 0);
  EXPECT_EQ(take().size(), 3u);  // Only one of two can be reported as renamed.
  std::filesystem::rename(path("b"), path("c"));
  std::filesystem::rename(path("a"), path("b"));
  EXPECT_THAT(take(), ElementsAre("disappeared c", "renamed b -> c", "renamed a -> b"));
}

TEST_F(DirectorySourceTest, ReplacedDirectoryReportsTheDifference) {
  put("same");
  put("old");
  follow(DirectoryDepth::tree);
  std::filesystem::create_directories(folder_.path() + "/next/inner");
  std::filesystem::create_hard_link(path("same"), folder_.path() + "/next/same");
  ASSERT_EQ(::renameat2(AT_FDCWD, root().c_str(), AT_FDCWD, (folder_.path() + "/next").c_str(), RENAME_EXCHANGE), 0);
  EXPECT_THAT(take(), testing::UnorderedElementsAre("disappeared old", "appeared inner"));
  put("inner/new");
  EXPECT_THAT(take(), ElementsAre("appeared inner/new"));
}

TEST_F(DirectorySourceTest, MissingDirectoryThrowsUntilItExists) {
  follow(DirectoryDepth::tree);
  put("a");
  std::filesystem::remove_all(root());
  EXPECT_EQ(codeOfTake(), ENOENT);
  EXPECT_EQ(codeOfTake(), ENOENT);
  std::ofstream(root()) << "a file";
  EXPECT_EQ(codeOfTake(), ENOTDIR);
  std::filesystem::remove(root());
  std::filesystem::create_directory(root());
  put("b");
  EXPECT_THAT(take(), ElementsAre("appeared b"));
}

TEST_F(DirectorySourceTest, HundredThousandEntriesTakeNoDescriptors) {
  for (int i = 0; i < 100; ++i) {
    const std::string directory = "directory" + std::to_string(i);
    std::filesystem::create_directory(path(directory));
    for (int j = 0; j < 1'000; ++j) {
      ASSERT_EQ(::mknod(path(directory + "/file" + std::to_string(j)).c_str(), S_IFREG | 0600, 0), 0);
    }
  }
  const auto open = [] {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), std::filesystem::directory_iterator());
  };
  follow(DirectoryDepth::entries);
  const auto before = open();
  source_ = FileManager::default_().makeDirectorySource(URL::fileURLWithPath(root()), DirectoryDepth::tree, [] {});
  EXPECT_EQ(source_->takeChanges().size(), 100'100U);
  EXPECT_EQ(open(), before);
  put("directory99/file999");
  EXPECT_THAT(described(source_->takeChanges()), ElementsAre("changed directory99/file999"));
}

TEST_F(DirectorySourceTest, AnEntryTakesAtMost200Bytes) {
  if (::mallinfo2().uordblks == 0) GTEST_SKIP() << "this allocator does not report its memory";
  constexpr std::size_t count = 10'000;
  for (std::size_t i = 0; i < count; ++i) {
    ASSERT_EQ(::mknod(path("file" + std::to_string(i)).c_str(), S_IFREG | 0600, 0), 0);
  }
  follow(DirectoryDepth::entries);
  model_ = {};
  source_ = FileManager::default_().makeDirectorySource(URL::fileURLWithPath(root()), DirectoryDepth::entries, [] {});
  const std::size_t before = ::mallinfo2().uordblks;
  ASSERT_EQ(source_->takeChanges().size(), count);
  const std::size_t taken = ::mallinfo2().uordblks - before;
  EXPECT_LE(taken / count, 200U);
  EXPECT_GE(taken / count, sizeof(DirectoryEntry));
}

TEST_F(DirectorySourceTest, ForkedChildTakesNoEventsOfItsParent) {
  follow(DirectoryDepth::entries);
  put("a");
  EXPECT_EXIT(static_cast<void>(source_->takeChanges()), testing::KilledBySignal(SIGABRT), "child of a fork");
  EXPECT_EXIT(follow(DirectoryDepth::entries), testing::KilledBySignal(SIGABRT), "child of a fork");
  EXPECT_THAT(take(), ElementsAre("appeared a"));
}

TEST_F(DirectorySourceTest, EventsWakeTheConsumer) {
  follow(DirectoryDepth::entries);
  put("a");
  while (wakes_ == 0) std::this_thread::yield();
  EXPECT_THAT(take(), testing::Contains("appeared a"));
}

TEST_F(DirectorySourceTest, WriteThroughANameInARemovedDirectoryIsReported) {
  std::filesystem::create_directory(path("a"));
  put("a/file");
  std::filesystem::create_hard_link(path("a/file"), path("b"));
  follow(DirectoryDepth::tree);
  put("a/file", "longer text");
  std::filesystem::remove_all(path("a"));
  EXPECT_THAT(take(), testing::UnorderedElementsAre("changed b", "disappeared a"));
}

TEST_F(DirectorySourceTest, UnsearchableSubdirectoryIsListedWithoutContents) {
  ASSERT_EQ(::chmod(folder_.path().c_str(), 0777), 0);
  std::filesystem::create_directory(path("a"));
  put("a/inner");
  put("b");
  for (const mode_t mode : {0444, 0111, 0}) {
    SCOPED_TRACE(mode);
    ASSERT_EQ(::chmod(path("a").c_str(), mode), 0);
    source_ = FileManager::default_().makeDirectorySource(URL::fileURLWithPath(root()), DirectoryDepth::tree, [] {});
    EXPECT_THAT(takeAsNobody(), testing::UnorderedElementsAre("appeared a", "appeared b"));
    EXPECT_FALSE(source_->needsPolling());
    ASSERT_EQ(::chmod(path("a").c_str(), 0755), 0);
    EXPECT_THAT(takeAsNobody(), ElementsAre("appeared a/inner"));
  }
}

TEST_F(DirectorySourceTest, SubdirectoryThatBecomesUnsearchableLosesItsContents) {
  ASSERT_EQ(::chmod(folder_.path().c_str(), 0777), 0);
  std::filesystem::create_directories(path("a/deep"));
  source_ = FileManager::default_().makeDirectorySource(URL::fileURLWithPath(root()), DirectoryDepth::tree, [] {});
  EXPECT_THAT(takeAsNobody(), ElementsAre("appeared a", "appeared a/deep"));
  for (const mode_t mode : {0444, 0111, 0}) {
    SCOPED_TRACE(mode);
    ASSERT_EQ(::chmod(path("a").c_str(), mode), 0);
    put("a/deep/new");
    put("a/new");
    std::vector<std::string> changes;
    do {
      std::ranges::move(takeAsNobody(), std::back_inserter(changes));
    } while (source_->needsPolling());
    EXPECT_THAT(changes, testing::Contains("disappeared a/deep"));
    ASSERT_EQ(::chmod(path("a").c_str(), 0755), 0);
    EXPECT_THAT(takeAsNobody(),
                testing::UnorderedElementsAre("appeared a/deep", "appeared a/deep/new", "appeared a/new"));
  }
}

/// Makes, writes, renames, replaces, links and removes entries of a small tree, so that names are often reused.
class Churn {
 public:
  Churn(std::string root, unsigned seed) : root_(std::move(root)), random_(seed) {}

  void step() {
    const std::string first = anyPath();
    const std::string second = anyPath();
    std::error_code ignored;
    switch (random_() % 8) {
      case 0:
        std::filesystem::create_directories(first, ignored);
        break;
      case 1:
        std::filesystem::remove_all(first, ignored);
        break;
      case 2:
      case 3:
        std::filesystem::rename(first, second, ignored);
        break;
      case 4:
        ::renameat2(AT_FDCWD, first.c_str(), AT_FDCWD, second.c_str(), RENAME_EXCHANGE);
        break;
      case 5:
        std::filesystem::create_hard_link(first, second, ignored);
        break;
      default:
        std::ofstream(first, std::ios::app) << std::string(random_() % 40, 'x');
    }
  }

 private:
  std::string anyPath() {
    std::string path = root_;
    for (std::size_t depth = 1 + random_() % 4; depth > 0; --depth) {
      path += '/';
      path += static_cast<char>('a' + random_() % 4);
    }
    return path;
  }

  const std::string root_;
  std::mt19937 random_;
};

TEST_F(DirectorySourceTest, ModelEqualsTreeAtEveryQuietMoment) {
  for (int round = 0; round < Tests::repetitions(5); ++round) {
    Churn churn(root(), static_cast<unsigned>(round));
    follow(DirectoryDepth::tree);
    for (int quiet = 0; quiet < 40; ++quiet) {
      for (int step = 0; step < 25; ++step) churn.step();
      take();
      ASSERT_FALSE(HasFailure()) << "round " << round << ", moment " << quiet;
    }
  }
}

TEST_F(DirectorySourceTest, ModelEqualsTreeAfterChangesDuringTakes) {
  for (int round = 0; round < Tests::repetitions(5); ++round) {
    follow(DirectoryDepth::tree);
    std::atomic<bool> isOver{false};
    std::thread other([&] {
      Churn churn(root(), static_cast<unsigned>(round + 1'000));
      for (int step = 0; step < 5'000; ++step) churn.step();
      isOver = true;
    });
    while (!isOver) ASSERT_NO_THROW(model_.apply(source_->takeChanges()));
    other.join();
    model_.apply(source_->takeChanges());
    model_.apply(source_->takeChanges());
    ASSERT_EQ(model_.listing(), DirectoryModel::actualListing(root(), depth_)) << "round " << round;
    EXPECT_FALSE(source_->needsPolling());
  }
}

}  // namespace
}  // namespace Tessaly
