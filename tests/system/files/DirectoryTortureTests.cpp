// SPDX-License-Identifier: MIT
// Directories that another process changes as fast as it can, while their changes are taken slowly.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Tessaly/Core/Tasks/SyncWait.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"
#include "Tessaly/SystemServices/FileManager+DirectoryChanges.hpp"
#include "tests/Support/DirectoryModel.hpp"
#include "tests/Support/Process.hpp"
#include "tests/Support/RemoteVolume.hpp"
#include "tests/Support/Repetitions.hpp"
#include "tests/Support/TemporaryFolder.hpp"
#include "tests/Support/UnreadEvents.hpp"
#include "tests/Support/WaitUntil.hpp"

namespace Tessaly {
namespace {

using namespace std::chrono_literals;
using Changes = std::vector<DirectoryChange>;

/// Makes, writes, renames, replaces, links and removes entries below a directory. At each quiet moment it makes a mark
/// in the directory and waits until the mark is removed. With a spare directory, it sometimes exchanges the two. It
/// does not write into files with several names, because a name may be gone before the write through it is noticed.
constexpr const char* writer = R"(
import ctypes, os, random, shutil, sys, time
root, spare = sys.argv[1:3]
operations, moments = int(sys.argv[3]), int(sys.argv[4])
random.seed(operations)
exchange = ctypes.CDLL(None).renameat2
def place():
    names = (random.choice('abcdefgh') + str(random.randrange(6)) for _ in range(random.randrange(1, 5)))
    return os.path.join(root, *names)
def swap():
    if random.randrange(10) > 0:
        exchange(-100, os.fsencode(root), -100, os.fsencode(spare), 2)
    else:
        os.rename(root, spare + '.away')
        os.rename(spare, root)
        os.rename(spare + '.away', spare)
def operate():
    path, other = place(), place()
    kind = random.randrange(8)
    if spare and random.randrange(500) == 0: swap()
    elif kind == 0: os.makedirs(path)
    elif kind == 1: os.remove(path)
    elif kind == 2 and random.randrange(20) == 0: shutil.rmtree(path)
    elif kind == 3: os.rename(path, other)
    elif kind == 4: os.link(path, other)
    elif kind == 5: os.symlink('target', path)
    elif os.path.exists(path) and os.stat(path).st_nlink > 1: raise OSError
    else:
        with open(path, 'ab') as file: file.write(b'x' * random.randrange(50))
for moment in range(moments):
    done = 0
    while done < operations // moments:
        try:
            operate()
            done += 1
        except OSError:
            pass
    mark = os.path.join(root, 'quiet%d' % moment)
    open(mark, 'w').close()
    while os.path.exists(mark):
        time.sleep(0.001)
)";

/// A consumer of a directory's changes, and what it knows from them alone.
class Follower {
 public:
  explicit Follower(const std::string& path)
      : changes_(directoryChanges(FileManager::default_(), URL::fileURLWithPath(path), {DirectoryDepth::tree, 0ms})
                     .makeAsyncIterator()) {}

  [[nodiscard]] bool knows(const std::string& path) const { return model_.entries().contains(path); }
  [[nodiscard]] std::size_t count() const { return model_.entries().size(); }
  Async<void> take() { model_.apply((co_await changes_.next()).value()); }
  /// Takes elements until the model equals the quiet directory at `path`. Expects that no element is awaited for more
  /// than 40 s.
  Async<void> expectModelOf(const std::string& path) {
    const std::string expected = Tests::DirectoryModel::actualListing(path, DirectoryDepth::tree);
    while (model_.listing() != expected) {
      Task<std::optional<Changes>> next([&]() -> Async<std::optional<Changes>> { co_return co_await changes_.next(); });
      for (int waited = 0; waited < 40'000 && !next.isFinished(); ++waited) co_await Task<>::sleep(1ms);
      next.cancel();
      const auto changes = co_await next.value();
      if (!changes) break;
      model_.apply(*changes);
    }
    EXPECT_EQ(model_.listing(), expected);
  }

 private:
  DirectoryChanges::AsyncIterator changes_;
  Tests::DirectoryModel model_;
};

/// How much a writer does, under stress and otherwise.
struct Plan {
  int operations = Tests::repetitions(1) > 1 ? 1'000'000 : 2'000;
  int moments = Tests::repetitions(1) > 1 ? 40 : 4;
};

class DirectoryTorture : public testing::Test {
 protected:
  [[nodiscard]] std::string root() const { return folder_.path() + "/root"; }
  [[nodiscard]] std::string spare() const { return folder_.path() + "/spare"; }
  void SetUp() override {
    std::filesystem::create_directory(root());
    std::filesystem::create_directory(spare());
  }

  /// Follows the directory `ours`, which the writer knows as `theirs`. The model is compared with `theirs`: through a
  /// remote volume, an entry whose type changed cannot be read while a watch keeps its old inode. Events of every
  /// second part of the work are lost if the queues shall overflow.
  static Async<void> torture(std::string ours, std::string theirs, std::string otherDirectory, bool overflows) {
    const Plan plan;
    Follower follower(ours);
    co_await follower.take();
    Tests::Process process({"python3", "-c", writer, theirs, otherDirectory, std::to_string(plan.operations),
                            std::to_string(plan.moments)});
    for (int moment = 0; moment < plan.moments; ++moment) {
      const std::string mark = "quiet" + std::to_string(moment);
      while (!follower.knows(mark)) {
        co_await Task<>::sleep(20ms);
        co_await follower.take();
      }
      co_await follower.expectModelOf(theirs);
      if (testing::Test::HasFailure()) co_return;
      const bool isLast = moment + 1 == plan.moments;
      if (overflows && moment % 2 == 0 && !isLast) {
        const Tests::UnreadEvents unread;
        Tests::overflowEventQueues(ours + "/" + mark);
        std::filesystem::remove(theirs + "/" + mark);
        const std::string nextMark = theirs + "/quiet" + std::to_string(moment + 1);
        while (!Tests::waitUntil([&] { return std::filesystem::exists(nextMark); })) {
        }
      } else {
        std::filesystem::remove(theirs + "/" + mark);
      }
    }
    EXPECT_EQ(process.wait(), 0);
    co_await follower.expectModelOf(theirs);
    EXPECT_GT(follower.count(), 20U);
  }

  Tests::TemporaryFolder folder_;
};

TEST_F(DirectoryTorture, ModelEqualsTheQuietDirectory) { syncWait(torture(root(), root(), "", false)); }

TEST_F(DirectoryTorture, ModelEqualsTheQuietDirectoryAfterOverflows) {
  if (Tests::lengthOfEventQueue() > 200'000) GTEST_SKIP() << "the kernel's queue is too long";
  syncWait(torture(root(), root(), "", true));
}

TEST_F(DirectoryTorture, ReplacedDirectoryIsFollowed) { syncWait(torture(root(), root(), spare(), true)); }

class RemoteDirectoryTorture : public DirectoryTorture {
 protected:
  void SetUp() override {
    if (!volume_.reason().empty()) GTEST_SKIP() << volume_.reason();
    std::filesystem::create_directory(volume_.theirs("root"));
  }

  Tests::RemoteVolume volume_;
};

TEST_F(RemoteDirectoryTorture, WritesOfAnotherComputerAreFollowed) {
  syncWait(torture(volume_.ours("root"), volume_.theirs("root"), "", false));
}

TEST_F(RemoteDirectoryTorture, WritesOnThisSystemAreFollowed) {
  syncWait(torture(volume_.ours("root"), volume_.ours("root"), "", false));
}

}  // namespace
}  // namespace Tessaly
