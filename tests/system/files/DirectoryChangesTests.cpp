// SPDX-License-Identifier: MIT
// A directory that another process changes as fast as it can, while its changes are taken slowly.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "Tessaly/Core/Foundation/POSIXError.hpp"
#include "Tessaly/Core/Tasks/SyncWait.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"
#include "Tessaly/SystemServices/FileManager+DirectoryChanges.hpp"
#include "tests/Support/DirectoryModel.hpp"
#include "tests/Support/TemporaryFolder.hpp"

namespace Tessaly {
namespace {

using namespace std::chrono_literals;

/// Makes, writes, renames, replaces, links and removes entries below a directory, and finally makes "end" in it.
constexpr const char* torture = R"(
import os, random, shutil, sys
root, count, seed = sys.argv[1], int(sys.argv[2]), int(sys.argv[3])
random.seed(seed)
def place():
    return os.path.join(root, *(random.choice('abcdefgh') + str(random.randrange(6)) for _ in range(random.randrange(1, 5))))
done = 0
while done < count:
    path, other = place(), place()
    kind = random.randrange(8)
    try:
        if kind == 0: os.makedirs(path)
        elif kind == 1: os.remove(path)
        elif kind == 2 and random.randrange(20) == 0: shutil.rmtree(path)
        elif kind == 3: os.rename(path, other)
        elif kind == 4: os.link(path, other)
        elif kind == 5: os.symlink('target', path)
        else:
            with open(path, 'ab') as file: file.write(b'x' * random.randrange(50))
        done += 1
    except OSError:
        pass
open(os.path.join(root, 'end'), 'w').close()
)";

class DirectoryTorture : public testing::Test {
 protected:
  static pid_t start(const std::string& root, int count, int seed) {
    const pid_t process = ::fork();
    if (process != 0) return process;
    ::execlp("python3", "python3", "-c", torture, root.c_str(), std::to_string(count).c_str(),
             std::to_string(seed).c_str(), nullptr);
    ::_exit(127);
  }
  /// The number of operations: a million under stress.
  static int operations() { return std::getenv("TESSALY_STRESS") != nullptr ? 1'000'000 : 15'000; }

  Tests::TemporaryFolder folder_;
};

TEST_F(DirectoryTorture, ModelEqualsTheQuietDirectory) {
  const std::string root = folder_.path();
  syncWait([&]() -> Async<void> {
    auto changes =
        directoryChanges(FileManager::default_(), folder_.url(), {.depth = DirectoryDepth::tree}).makeAsyncIterator();
    Tests::DirectoryModel model;
    model.apply((co_await changes.next()).value());
    const pid_t process = start(root, operations(), 1);
    while (!model.entries().contains("end")) {
      model.apply((co_await changes.next()).value());
      co_await Task<>::sleep(20ms);
    }
    int status = -1;
    ::waitpid(process, &status, 0);
    EXPECT_EQ(status, 0);
    const std::string expected = Tests::DirectoryModel::actualListing(root, DirectoryDepth::tree);
    // A later element may contain earlier changes, but no change is lost.
    for (int more = 0; more < 3 && model.listing() != expected; ++more) {
      model.apply((co_await changes.next()).value());
    }
    EXPECT_EQ(model.listing(), expected);
    EXPECT_GT(model.entries().size(), 50U);
  });
}

TEST_F(DirectoryTorture, ReplacedDirectoryIsFollowed) {
  const std::string root = folder_.path() + "/root";
  std::filesystem::create_directory(root);
  syncWait([&]() -> Async<void> {
    auto changes =
        directoryChanges(FileManager::default_(), URL::fileURLWithPath(root), {.depth = DirectoryDepth::tree})
            .makeAsyncIterator();
    Tests::DirectoryModel model;
    model.apply((co_await changes.next()).value());
    for (int round = 0; round < 3; ++round) {
      const std::string next = folder_.path() + "/next" + std::to_string(round);
      std::filesystem::create_directory(next);
      const pid_t process = start(next, operations() / 10, round);
      std::filesystem::rename(root, folder_.path() + "/former" + std::to_string(round));
      std::filesystem::rename(next, root);
      // The writer now writes below a path that was removed or replaced.
      int status = -1;
      ::waitpid(process, &status, 0);
      const std::string expected = Tests::DirectoryModel::actualListing(root, DirectoryDepth::tree);
      while (model.listing() != expected) model.apply((co_await changes.next()).value());
    }
  });
}

}  // namespace
}  // namespace Tessaly
